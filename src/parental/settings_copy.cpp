#include "parental/settings_copy.h"

#include <new>

namespace tarn::parental {

bool CopyPcSettings(const PcSettingsRecord& record, SettingsCopy& copy) {
    copy = {};
    const std::uint32_t count = record.mode == TARN_PC_ONE_FOR_ALL ? 1 : record.entryCount;
    try {
        for (std::uint32_t i = 0; record.entries != nullptr && i < count; ++i)
            copy.entries.push_back({record.entries[i].leading});
    } catch (const std::bad_alloc&) {
        copy = {};
        return false;
    }
    copy.loaded = true;
    copy.mode = record.mode;
    copy.prompt = record.prompt;
    copy.strictness = record.strictness;
    return true;
}

}  // namespace tarn::parental
