// Programs started with WinExec.
#pragma once

#include <windows.h>

#include <functional>
#include <string>
#include <vector>

namespace WindowsModel {

struct Command {
    std::string line;
    UINT show;
    UINT result;
    DWORD thread;
};

struct CommandsState {
    /// TRUE lets Windows run the program; otherwise the model answers.
    bool passThrough = false;
    /// Above 31 means that the program was started.
    UINT answer = 33;
    /// Answers instead of `answer`, outside the model's lock: it may change the model, for example start a
    /// scripted service.
    std::function<UINT(const std::string& line, UINT show)> onCommand;
    std::vector<Command> commands;
};

} // namespace WindowsModel
