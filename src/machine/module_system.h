// What the companion modules need of the system: loading, binding, the folders, facts about the machine.
// Nothing is decided behind it. Any thread may call; a module stays loaded until each of its loads was freed.
#ifndef TARN_MACHINE_MODULE_SYSTEM_H
#define TARN_MACHINE_MODULE_SYSTEM_H

#include <array>
#include <cstddef>
#include <cstdint>

#include "base/bounded_text.h"

namespace tarn::machine {

// The first bytes of a file, or why there are none.
struct FileStart {
    enum class State { kRead, kAbsent, kUnreadable };
    State state = State::kUnreadable;
    std::array<std::uint8_t, 10> bytes{};
    std::size_t count = 0;
};

// What decides whether HTTPS inspection may run. A query that failed is told apart from its answer.
struct HttpsInspectionFacts {
    bool baselineKnown = false;  // the service-pack query succeeded
    bool olderThanBaseline = false;
    std::uint32_t classification = 0;  // a code of system_code.h
    bool productTypeKnown = false;
    std::uint8_t productType = 0;  // as in os_version.h
};

class ModuleSystem {
 public:
    virtual ~ModuleSystem() = default;

    // A module's handle, or null. Dependencies are looked for beside the module.
    virtual void* Load(const char16_t* path) = 0;
    virtual void* Find(void* module, const char* function) = 0;
    virtual void Free(void* module) = 0;

    // Ends with a backslash.
    virtual bool InstallFolder(base::PathBuffer& folder) = 0;
    // Whether the host executable's path can be asked for and fits 260 units.
    virtual bool HostExecutableKnown() = 0;
    virtual bool ManagedClientInstalled() = 0;
    virtual FileStart ReadFileStart(const base::PathBuffer& path) = 0;
    // A code of system_code.h.
    virtual std::uint32_t SystemClassification() = 0;
    virtual HttpsInspectionFacts HttpsFacts() = 0;
};

}  // namespace tarn::machine

#endif
