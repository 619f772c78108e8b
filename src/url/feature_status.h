// Whether any URL-scanning feature is on, so that a host can skip the scans altogether.
// A pure function of the context.
#ifndef TARN_URL_FEATURE_STATUS_H
#define TARN_URL_FEATURE_STATUS_H

#include <cstdint>

#include "url/scan_context.h"

namespace tarn::url {

// The bytes of browsing protection, anti-phishing and, with one schedule for all users and a first entry, that entry's
// block-list and category switches, all ORed.
std::uint8_t FeatureStatus(const ScanContext& context);

}  // namespace tarn::url

#endif
