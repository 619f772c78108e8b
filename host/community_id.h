// Community ID, version 1 with seed 0: a name for a connection that is the same in both directions and in every tool
// that knows the scheme.
#ifndef TARN_HOST_COMMUNITY_ID_H
#define TARN_HOST_COMMUNITY_ID_H

#include <string>

#include "host/flow.h"

namespace tarn::host {

// "1:" and 28 characters. Both ends of the flow are of one address family.
[[nodiscard]] std::string CommunityId(const Flow& flow);

}  // namespace tarn::host

#endif
