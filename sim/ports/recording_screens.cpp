// RecordingScreenCalls is header-only; this file keeps its vtable in one place.
#include "ports/recording_screens.h"
