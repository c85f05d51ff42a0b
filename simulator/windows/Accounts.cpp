#include "windows/Accounts.h"
