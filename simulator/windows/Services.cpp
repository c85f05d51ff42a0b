#include "windows/Services.h"
