#include "windows/Session.h"
