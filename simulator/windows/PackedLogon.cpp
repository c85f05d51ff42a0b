#include "windows/PackedLogon.h"
