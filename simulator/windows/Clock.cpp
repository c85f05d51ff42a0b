#include "windows/Clock.h"
