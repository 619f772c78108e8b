// The entry point of tarn.dll: turns thread notifications off, and lets a library at rest go when the DLL is unloaded.
// Called under the loader lock, so nothing here waits. The library object is made by a static constructor before.
#include <windows.h>

#include "api/library_instance.h"

extern "C" BOOL WINAPI DllMain(HINSTANCE module, DWORD reason, LPVOID processEnds) {
    if (reason == DLL_PROCESS_ATTACH) DisableThreadLibraryCalls(module);
    if (reason == DLL_PROCESS_DETACH && processEnds == nullptr) tarn::api::DestroyLibraryAtRest();
    return TRUE;
}
