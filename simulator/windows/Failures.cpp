#include "windows/Failures.h"
