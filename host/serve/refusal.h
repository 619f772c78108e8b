// Why something is refused that the library does not block.
#ifndef TARN_HOST_SERVE_REFUSAL_H
#define TARN_HOST_SERVE_REFUSAL_H

#include <optional>
#include <string>

#include "host/serve/asked.h"
#include "host/serve/serve_settings.h"
#include "host/verdict_report.h"

namespace tarn::host::serve {

inline constexpr Coverage kUnknownUser{Extent::kPart,
                                       "the client's process is not known: rules for users are not asked"};

// What nobody looks into: as it was asked, or a hello that is cut or may hide the name that is meant.
std::optional<Unread> UnreadOf(const Asked& asked);

// Empty when it passes. request: asked's, with a verdict that does not block or without one; unread: its UnreadOf.
std::string WhyRefused(const Asked& asked, const std::optional<Unread>& unread, const JudgedRequest& request,
                       const ServeSettings& settings);

}  // namespace tarn::host::serve

#endif
