// How the sensor vendor's pre-boot library is used.
#pragma once

#include <vcsWavePba.h>

/// What vcsWavPbaOpen is given; which use that selects is the vendor's business.
inline constexpr unsigned char PreBootLibraryUse = 2;
