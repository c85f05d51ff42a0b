// The script: one command line in, the reply out. `help` is the reference.
#pragma once

#include <string>
#include <string_view>

/// What the process does once the reply is on its way.
enum class After { Nothing, Quit, Die };

struct Reply {
    std::wstring text =
        L"ok\n"; ///< first line "ok", "ok DETAIL" or "error REASON"; every line ends with a line feed
    After after = After::Nothing;
};

Reply Execute(std::wstring_view line);

/// The commands, also for who finds no service to ask.
std::wstring ScriptHelp();
