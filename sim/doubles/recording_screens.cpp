// RecordingScreenCalls is header-only; this file keeps its vtable in one place.
#include "doubles/recording_screens.h"
