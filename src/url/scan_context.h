// What a URL scan reads and whom it asks: settings, published lists, companion modules.
// A scan changes none of it; the library's owner puts the pieces together.
#ifndef TARN_URL_SCAN_CONTEXT_H
#define TARN_URL_SCAN_CONTEXT_H

#include <array>
#include <cstdint>

#include "base/bounded_text.h"
#include "modules/companion_table.h"
#include "modules/settings.h"
#include "parental/settings_copy.h"
#include "url/published_lists.h"

namespace tarn::url {

// The management server of a managed endpoint. Without one, installed is false and the address empty.
struct ManagedClient {
    bool installed = false;
    std::array<char16_t, 260> serverAddress{};
};

struct ScanContext {
    const modules::Companions& companions;
    const modules::SettingsState& settings;
    const PublishedLists& lists;
    const parental::SettingsCopy& parental;
    const ManagedClient& managedClient;
};

}  // namespace tarn::url

#endif
