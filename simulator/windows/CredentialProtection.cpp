#include "windows/CredentialProtection.h"
