// NTSTATUS and all its names. Has to come before windows.h, which otherwise defines a few of them its own
// way.
#pragma once

#define WIN32_NO_STATUS
#include <windows.h>
#undef WIN32_NO_STATUS

#include <ntsecapi.h>
#include <ntstatus.h>
