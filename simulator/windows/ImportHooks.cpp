#include "windows/ImportHooks.h"
