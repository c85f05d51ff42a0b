#include "windows/Recorder.h"
