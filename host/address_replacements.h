// The address pairs of --map.
#ifndef TARN_HOST_ADDRESS_REPLACEMENTS_H
#define TARN_HOST_ADDRESS_REPLACEMENTS_H

#include <string>
#include <vector>

#include "host/verdict_report.h"

namespace tarn::host {

// False with a message for a text that is not "ADDRESS=ADDRESS".
bool ParseReplacements(const std::vector<std::string>& texts, std::vector<AddressReplacement>& out,
                       std::string& mistake);

}  // namespace tarn::host

#endif
