#include "windows/Lsa.h"
