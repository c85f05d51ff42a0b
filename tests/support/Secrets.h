// Where the DLL may leave a password behind: in blocks that it frees, and on its threads' stacks.
#pragma once

#include "WindowsModel/ImportHooks.h"

#include <string>

/// Looks into every block that the module frees from now on for the wide text "secret", which is part of all
/// passwords in these tests. The credential's own block is left out: it keeps its password, deliberately.
void WatchFreedBlocks(WindowsModel::ImportHooks& hooks);
/// How many such blocks held it, since the process began.
long SecretsFreed();

/// Is the text on the stack, the part out of use included, of any thread of this process but the caller's?
bool IsOnAnyStack(const std::wstring& text);
