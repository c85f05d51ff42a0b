#include "windows/Devices.h"
