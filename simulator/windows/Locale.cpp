#include "windows/Locale.h"
