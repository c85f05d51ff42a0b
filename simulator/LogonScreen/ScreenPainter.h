// What the logon screen shows, and how it is laid out.
#pragma once

#include "Canvas.h"

#include <string>

struct ScreenContent {
    enum class Phase { Waiting, LoggedOn, Refused };
    const Tile* tile = nullptr; ///< null while there is none
    Phase phase = Phase::Waiting;
    std::wstring message;
    bool unlock = false;
};

void PaintScreen(Canvas& canvas, const ScreenContent& content);
