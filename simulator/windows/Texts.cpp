#include "windows/Texts.h"
