// The client of the categorisation module: whether it may ask online, one look-up with its release, and how many of
// the returned categories count. Look-ups run on any scanning thread, the online decision where the module is loaded.
#ifndef TARN_MODULES_CATEGORISATION_H
#define TARN_MODULES_CATEGORISATION_H

#include <algorithm>
#include <array>
#include <cstdint>
#include <span>

#include "modules/companion_table.h"
#include "modules/loaded_module.h"

namespace tarn::modules {

// The decision handed to SCInit, made at each load of the module. Needs the status reader.
bool OnlineLookupAllowed(ModuleCalls& calls);

// The scrambled two-byte switch of the proxy file: the characters "1" and "2" forbid the online look-up.
bool ProxySwitchIsOn(std::uint8_t first, std::uint8_t second);

inline bool Contains(std::span<const std::uint16_t> categories, std::uint16_t category) {
    return std::ranges::find(categories, category) != categories.end();
}

// The leading categories that count: strictness is a TARN_STRICTNESS_...
std::span<const std::uint16_t> ConsideredCategories(std::span<const std::uint16_t> categories, std::uint8_t strictness);

// One look-up. The array that the module returned is released exactly once, whether the look-up succeeded or not; a
// release that throws changes nothing. While the module is not loaded a look-up fails.
class CategoryLookup {
 public:
    // The caller asks no host that begins with "[".
    CategoryLookup(const LoadedModule<Categorisation>& module, const char* hostOrUrl, TarnLookupMode mode);
    ~CategoryLookup() { Release(); }
    CategoryLookup(const CategoryLookup&) = delete;
    CategoryLookup& operator=(const CategoryLookup&) = delete;

    [[nodiscard]] bool Succeeded() const { return succeeded_; }
    // Empty after a look-up that failed and after the release.
    [[nodiscard]] std::span<const std::uint16_t> Categories() const {
        return {array_, succeeded_ && array_ != nullptr ? count_ : 0U};
    }
    void Release() noexcept;

 private:
    const LoadedModule<Categorisation>& module_;
    std::uint16_t* array_ = nullptr;
    std::uint16_t count_ = 0;
    bool succeeded_ = false;
};

using CategoryName = std::array<char16_t, 100>;

// False leaves the name empty.
bool ReadCategoryName(const LoadedModule<Categorisation>& module, std::uint16_t category, CategoryName& name);

}  // namespace tarn::modules

#endif
