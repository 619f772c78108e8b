// The entry point of tarn.dll: turns thread notifications off and does nothing else.
// Static constructors build the one Library object before the first export runs.
#include <windows.h>

extern "C" BOOL WINAPI DllMain(HINSTANCE module, DWORD reason, LPVOID /*reserved*/) {
    if (reason == DLL_PROCESS_ATTACH) DisableThreadLibraryCalls(module);
    return TRUE;
}
