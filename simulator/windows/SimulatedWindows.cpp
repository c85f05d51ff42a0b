#include "windows/SimulatedWindows.h"
