#include "url/feature_status.h"

namespace tarn::url {

std::uint8_t FeatureStatus(const ScanContext& context) {
    unsigned status = context.settings.bpStatus | context.settings.apStatus;
    const parental::PcUserEntry* first = context.parental.First();
    if (context.parental.loaded && context.parental.mode == TARN_PC_ONE_FOR_ALL && first != nullptr)
        status |= static_cast<unsigned>(first->leading.blockListSwitch | first->leading.categorySwitch);
    return static_cast<std::uint8_t>(status);
}

}  // namespace tarn::url
