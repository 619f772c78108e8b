#include "modules/categorisation.h"

#include <algorithm>
#include <utility>

#include "base/assert.h"
#include "modules/install_file.h"
#include "modules/module_calls.h"
#include "modules/module_exceptions.h"

namespace tarn::modules {
namespace {

// Whether the proxy file of the install folder lets the online look-up be used.
bool ProxySwitchAllows(machine::ModuleSystem& system) {
    base::PathBuffer path;
    if (!InstallFilePath(system, u"proxyep.dat", path)) return false;
    const machine::FileStart start = system.ReadFileStart(path);
    if (start.state == machine::FileStart::State::kAbsent) return true;
    if (start.state == machine::FileStart::State::kUnreadable || start.count < 2) return false;
    return !ProxySwitchIsOn(start.bytes[0], start.bytes[1]);
}

bool FeaturesAllow(ModuleCalls& calls) {
    if (!calls.System().ManagedClientInstalled()) return true;
    DisabledFeatures features;
    if (!calls.ReadDisabledFeatures(features)) return false;
    return !(features.bytes[TARN_DISABLED_ONLINE_LOOKUP] == 1 && features.bytes[TARN_DISABLED_ONLINE_LOOKUP_TOO] == 1);
}

}  // namespace

bool ProxySwitchIsOn(std::uint8_t first, std::uint8_t second) {
    const auto unscramble = [](std::uint8_t byte) { return static_cast<std::uint8_t>((byte ^ 7U) + 15U); };
    const auto character = static_cast<char16_t>(unscramble(first) | (unscramble(second) << 8));
    return character == u'1' || character == u'2';
}

bool OnlineLookupAllowed(ModuleCalls& calls) {
    if (!ProxySwitchAllows(calls.System())) return false;
    if (!FeaturesAllow(calls)) return false;
    if (!calls.System().HostExecutableKnown()) return false;
    std::uint8_t cloud = 1;
    calls.ReadWebSecCloudStatus(cloud);
    if (cloud == 0) return false;
    std::uint8_t browsingProtection = 0;
    std::uint8_t antiPhishing = 0;
    calls.ReadBPStatus(browsingProtection);
    calls.ReadAPStatus(antiPhishing);
    std::uint8_t parentalMode = 0;
    if (!calls.ReadPCModeUnreleased(parentalMode)) return false;
    return browsingProtection != 0 || antiPhishing != 0 || parentalMode != 0;
}

std::span<const std::uint16_t> ConsideredCategories(std::span<const std::uint16_t> categories,
                                                    std::uint8_t strictness) {
    std::size_t limit = categories.size();
    if (strictness == TARN_STRICTNESS_FIRST_ONE) limit = 1;
    if (strictness == TARN_STRICTNESS_FIRST_TWO) limit = 2;
    if (strictness == TARN_STRICTNESS_FIRST_THREE) limit = 3;
    return categories.first(std::min(limit, categories.size()));
}

CategoryLookup::CategoryLookup(const LoadedModule<Categorisation>& module, const char* hostOrUrl, TarnLookupMode mode)
    : module_(module) {
    TARN_ASSERT(hostOrUrl[0] != '[');
    if (!module || module->SCGetURLCategories == nullptr) return;
    succeeded_ = module->SCGetURLCategories(hostOrUrl, &array_, &count_, mode) != 0;
}

void CategoryLookup::Release() noexcept {
    std::uint16_t* const array = std::exchange(array_, nullptr);
    if (array == nullptr || !module_ || module_->SCReleaseCategories == nullptr) return;
    RunStep([&] { module_->SCReleaseCategories(array); });
}

bool ReadCategoryName(const LoadedModule<Categorisation>& module, std::uint16_t category, CategoryName& name) {
    name.fill(u'\0');
    if (!module || module->SCGetCategoryName == nullptr) return false;
    const bool read = module->SCGetCategoryName(category, name.data(), static_cast<std::uint32_t>(name.size())) != 0;
    name.back() = u'\0';
    if (!read) name.fill(u'\0');
    return read;
}

}  // namespace tarn::modules
