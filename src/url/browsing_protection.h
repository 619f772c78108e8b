// Browsing protection's action against the program that asked for a malicious URL: once for each executable, and never
// against a browser of the exclusion list. Any thread may call; no module is called under the lock.
#ifndef TARN_URL_BROWSING_PROTECTION_H
#define TARN_URL_BROWSING_PROTECTION_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "base/guarded.h"
#include "machine/module_system.h"
#include "machine/process_inspector.h"

namespace tarn::url {

// Lower-case names of browsers, each at most 49 units; an executable whose path contains one is left alone.
using BrowserExclusions = std::vector<std::u16string>;

inline constexpr std::size_t kExclusionNameCapacity = 50;  // units, the NUL included

// The first count names of a text that is split at "|"; empty ones do not count. A name that is too long among them
// leaves no list at all.
[[nodiscard]] BrowserExclusions ParseBrowserExclusions(std::u16string_view names, std::uint32_t count);

class BrowsingProtection {
 public:
    static constexpr std::size_t kMostActedOn = 100;  // executables that are remembered

    // Forgets the executables acted on and takes a new exclusion list.
    void Reset(BrowserExclusions exclusions);
    void Clear() { Reset({}); }

    // url is host and path, and may be empty. True when the quarantine module was asked and agreed.
    bool ActOnMaliciousUrl(std::uint32_t processId, std::string_view url, machine::ProcessInspector& processes,
                           machine::ModuleSystem& system);

    [[nodiscard]] std::size_t ActedOnCount() const;

 private:
    struct State {
        BrowserExclusions exclusions;
        std::map<std::u16string, std::u16string, std::less<>> actedOn;  // executable path to URL
    };

    [[nodiscard]] bool IsExcluded(std::u16string_view executable) const;
    [[nodiscard]] bool WasActedOn(std::u16string_view executable) const;
    void EmptyFullTable();

    base::Guarded<State> state_;
};

}  // namespace tarn::url

#endif
