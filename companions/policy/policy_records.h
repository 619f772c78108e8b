// Turns a policy into the records that the library reads, and releases them again.
#ifndef TARN_COMPANIONS_POLICY_POLICY_RECORDS_H
#define TARN_COMPANIONS_POLICY_POLICY_RECORDS_H

#include "tarn/companions.h"

#include "policy/policy.h"

namespace tarn::policy {

// Each build gives false, with a zeroed record, when memory is missing. A release takes any record that its build made,
// in this process, by this or an earlier instance of the module, and zeroes it.
bool BuildUrlList(const std::vector<ListedText>& entries, UrlListRecord& record);
void ReleaseUrlList(UrlListRecord& record);

bool BuildThreatSites(const Policy& policy, ThreatSiteList& record);
void ReleaseThreatSites(ThreatSiteList& record);

bool BuildPhishingSites(const Policy& policy, PhishingSiteList& record);
void ReleasePhishingSites(PhishingSiteList& record);

bool BuildIdsRules(const Policy& policy, IdsSettingsRecord& record);
void ReleaseIdsRules(IdsSettingsRecord& record);

bool BuildParental(const Policy& policy, PcSettingsRecord& record);
void ReleaseParental(PcSettingsRecord& record);

}  // namespace tarn::policy

#endif
