// The support library as one include.
#pragma once

#include "Account.h"
#include "CriticalSection.h"
#include "Crypto.h"
#include "Device.h"
#include "EventLog.h"
#include "Events.h"
#include "Handle.h"
#include "IniFile.h"
#include "LogFile.h"
#include "ModuleThread.h"
#include "Registry.h"
#include "Result.h"
#include "Service.h"
