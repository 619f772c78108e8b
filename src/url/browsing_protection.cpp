#include "url/browsing_protection.h"

#include <algorithm>

#include "base/bounded_text.h"
#include "base/text.h"
#include "modules/quarantine.h"

namespace tarn::url {
namespace {

constexpr std::u16string_view kReason = u"Browsing Protection Malicious URL";

constexpr auto ToLower = [](char16_t unit) { return base::ToLowerAscii(unit); };

std::u16string LowerCase(std::u16string_view text) {
    std::u16string lower(text);
    std::ranges::transform(lower, lower.begin(), ToLower);
    return lower;
}

QuarantineRequest MakeRequest(char16_t* url) {
    QuarantineRequest request{};
    request.type = TARN_QUARANTINE_PROGRAM;
    request.flagA = 1;
    request.flagB = 1;
    base::StoreField<sizeof request.reason / sizeof(char16_t)>(request.reason, kReason);
    request.url = url;
    return request;
}

}  // namespace

BrowserExclusions ParseBrowserExclusions(std::u16string_view names, std::uint32_t count) {
    BrowserExclusions exclusions;
    while (!names.empty() && exclusions.size() < count) {
        const std::size_t length = std::min(names.find(u'|'), names.size());
        const std::u16string_view name = names.substr(0, length);
        names.remove_prefix(std::min(length + 1, names.size()));
        if (name.empty()) continue;
        if (name.size() >= kExclusionNameCapacity) return {};
        exclusions.push_back(LowerCase(name));
    }
    return exclusions;
}

void BrowsingProtection::Reset(BrowserExclusions exclusions) {
    state_.Write([&](State& state) {
        state.exclusions = std::move(exclusions);
        state.actedOn.clear();
    });
}

bool BrowsingProtection::ActOnMaliciousUrl(std::uint32_t processId, std::string_view url,
                                           machine::ProcessInspector& processes, machine::ModuleSystem& system) {
    machine::ProcessUser user;
    if (!processes.GetProcessUser(processId, user)) return false;
    base::PathBuffer path;
    std::uint32_t error = 0;
    if (!processes.GetProcessImagePath(processId, path, error)) return false;
    const std::u16string_view executable = base::FieldText(path);
    if (IsExcluded(executable) || WasActedOn(executable)) return false;
    EmptyFullTable();

    modules::QuarantineCall quarantine(system);
    if (!quarantine.Ready()) return false;
    std::array<char16_t, TARN_URL_CAPACITY> wideUrl;
    if (!processes.ToWide(url, wideUrl)) return false;
    state_.Write([&](State& state) { state.actedOn.emplace(executable, base::FieldText(wideUrl)); });
    return quarantine.Quarantine(path.data(), MakeRequest(wideUrl.data()));
}

std::size_t BrowsingProtection::ActedOnCount() const {
    return state_.Read([](const State& state) { return state.actedOn.size(); });
}

// The executable is a path: it fits a path's buffer.
bool BrowsingProtection::IsExcluded(std::u16string_view executable) const {
    base::PathBuffer storage;
    const auto end = std::ranges::transform(executable, storage.begin(), ToLower).out;
    const std::u16string_view lower(storage.begin(), end);
    return state_.Read([&](const State& state) {
        return std::ranges::any_of(state.exclusions, [&](const std::u16string& name) {
            return lower.find(name) != std::u16string_view::npos;
        });
    });
}

bool BrowsingProtection::WasActedOn(std::u16string_view executable) const {
    return state_.Read([&](const State& state) { return state.actedOn.find(executable) != state.actedOn.end(); });
}

// A table that is full is emptied as a whole, so that earlier executables can be acted on again.
void BrowsingProtection::EmptyFullTable() {
    if (ActedOnCount() < kMostActedOn) return;
    state_.Write([](State& state) { state.actedOn.clear(); });
}

}  // namespace tarn::url
