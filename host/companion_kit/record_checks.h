// Checks of the records that companion modules deliver: whatever they hold, nothing outside readable memory is read.
// Pure functions: the records belong to their module, and nothing is kept of them.
#ifndef TARN_HOST_COMPANION_KIT_RECORD_CHECKS_H
#define TARN_HOST_COMPANION_KIT_RECORD_CHECKS_H

#include <cstddef>
#include <string>
#include <vector>

#include "tarn/companion_records.h"

namespace tarn::host {

class RecordMemory {
 public:
    virtual ~RecordMemory() = default;
    // How many of the size bytes from at on may be read, up to the first one that may not.
    [[nodiscard]] virtual std::size_t Readable(const void* at, std::size_t size) const = 0;
};

struct RecordFinding {
    std::string text;
    std::string consequence;
};
using RecordFindings = std::vector<RecordFinding>;

RecordFindings CheckRecord(const UrlListRecord& record, const RecordMemory& memory);
RecordFindings CheckRecord(const ThreatSiteList& record, const RecordMemory& memory);
RecordFindings CheckRecord(const PhishingSiteList& record, const RecordMemory& memory);
RecordFindings CheckRecord(const IdsSettingsRecord& record, const RecordMemory& memory);
RecordFindings CheckRecord(const DnsCacheRecord& record, const RecordMemory& memory);
RecordFindings CheckRecord(const PcSystemControlRecord& record, const RecordMemory& memory);
RecordFindings CheckRecord(const PcSettingsRecord& record, const RecordMemory& memory);
// The answer of a category look-up.
RecordFindings CheckCategories(const std::uint16_t* categories, std::uint16_t count, const RecordMemory& memory);
// Whether a text of 16-bit units ends inside its field, wherever that stands.
bool EndsInside16(const void* field, std::size_t units);

}  // namespace tarn::host

#endif
