// The clock of a loaded library: what it gets when it asks the system for the local time.
// One for the process. The library's own thread asks it, too.
#ifndef TARN_HOST_LIBRARY_CLOCK_WIN32_H
#define TARN_HOST_LIBRARY_CLOCK_WIN32_H

#include <windows.h>

#include "tarn/records.h"

namespace tarn::host {

// Puts the clock in the place of the one that the module imports, for as long as the module is loaded. False when it
// imports none.
bool ReplaceClockOf(HMODULE module);

// The clock stands at that time until it is set again; until it is set it runs as the machine's.
void SetLibraryClock(const TarnSystemTime& time);

}  // namespace tarn::host

#endif
