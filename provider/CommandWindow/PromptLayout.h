// Where image and text stand in the prompt window.
#pragma once

// All in pixels. The window stands in the screen's top right corner; it and the image are square.
inline constexpr int WindowSize = 400;
inline constexpr int ImageSize = 80;
inline constexpr int ImageTop = 10;
inline constexpr float TextTop = 100.0F;
/// A text that is wider is drawn smaller, so that its beginning does not lie outside the window.
inline constexpr float WidestText = 380.0F;

struct PromptLayout {
    int imageLeft;
    int textLeft;
};

/// A text wider than the image ends 10 pixels from the window's right edge, with the image centred over it; a
/// narrower one is centred under the image. `textWidth` in pixels.
constexpr PromptLayout LayOutPrompt(float textWidth)
{
    constexpr int textRight = 390;
    constexpr int imageLeft = 280;
    const int width = static_cast<int>(textWidth);
    if (textWidth > static_cast<float>(ImageSize))
        return {textRight + (width - ImageSize) / 2 - width, textRight - width};
    return {imageLeft, imageLeft + (ImageSize - width) / 2};
}
