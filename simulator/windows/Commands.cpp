#include "windows/Commands.h"
