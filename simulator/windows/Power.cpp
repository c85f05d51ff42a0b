#include "windows/Power.h"
