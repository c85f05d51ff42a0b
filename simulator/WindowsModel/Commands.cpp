#include "WindowsModel/Commands.h"

#include "WindowsModel/Replacement.h"

namespace WindowsModel {

namespace {

UINT ModelWinExec(const char* line, UINT show)
{
    std::function<UINT(const std::string&, UINT)> onCommand;
    UINT result;
    bool passThrough;
    {
        const auto state = SimulatedWindows::Instance().Lock();
        onCommand = state->commands.onCommand;
        passThrough = state->commands.passThrough;
        result = state->commands.answer;
    }
    if (onCommand)
        result = onCommand(line, show);
    else if (passThrough)
        result = SIM_ORIGINAL(WinExec)(line, show);
    ModelState()->commands.commands.push_back({line, show, result, GetCurrentThreadId()});
    return result;
}

const Replacement g_replacements[] = {
    SIM_MODELLED(Commands, Status, WinExec, ModelWinExec),
};

} // namespace

std::span<const Replacement> CommandReplacements()
{
    return g_replacements;
}

} // namespace WindowsModel
