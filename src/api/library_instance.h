// The one Library of the process, as the exports reach it. The DLL defines these functions for Windows; a test program
// that compiles the exports defines its own.
#ifndef TARN_API_LIBRARY_INSTANCE_H
#define TARN_API_LIBRARY_INSTANCE_H

#include "api/library.h"

namespace tarn::api {

// There from before the first export until the DLL leaves memory.
[[nodiscard]] Library& TheLibrary();

// When the DLL is unloaded: destroys the library if it is at rest. One that still holds modules is left as it stands,
// because nothing of theirs may be called at that moment.
void DestroyLibraryAtRest();

}  // namespace tarn::api

#endif
