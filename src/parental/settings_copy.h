// The library's own copy of the parental-control settings: header and user entries.
// Reading and releasing the record is the settings' business; what the switches mean is told by the rules that ask.
#ifndef TARN_PARENTAL_SETTINGS_COPY_H
#define TARN_PARENTAL_SETTINGS_COPY_H

#include <cstdint>
#include <vector>

#include "tarn/companions.h"

namespace tarn::parental {

struct PcUserEntry {
    PcUserLeading leading{};
};

struct SettingsCopy {
    bool loaded = false;  // the copy succeeded
    std::uint8_t mode = TARN_PC_ABSENT;
    PromptBytes prompt{};
    std::uint8_t strictness = 0;
    std::vector<PcUserEntry> entries;

    // The first user entry, which the scans call the first profile; null without entries.
    [[nodiscard]] const PcUserEntry* First() const { return entries.empty() ? nullptr : &entries.front(); }
};

// Replaces copy. With one schedule for all users exactly the first entry is copied, whatever the count says. False,
// with an empty copy, when memory is missing.
bool CopyPcSettings(const PcSettingsRecord& record, SettingsCopy& copy);

}  // namespace tarn::parental

#endif
