#include <new>

#include "api/library_instance.h"
#include "machine/machine_win32.h"

namespace tarn::api {
namespace {

// Never destroyed by the run-time library: when the process exits, its other threads are gone, with whatever lock they
// held, and other modules may be too.
struct Instance {
    machine::WindowsMachine machine;
    Library library{machine};
};

alignas(Instance) unsigned char storage[sizeof(Instance)];
Instance* const instance = new (storage) Instance;  // made when the DLL is loaded

}  // namespace

Library& TheLibrary() {
    return instance->library;
}

void DestroyLibraryAtRest() {
    if (instance->library.IsAtRest()) instance->~Instance();
}

}  // namespace tarn::api
