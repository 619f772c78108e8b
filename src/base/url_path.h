// Brings the path of a URL to the one form in which lists hold paths: no query, no fragment, no doubled "/".
// Letter case stays as it is.
#ifndef TARN_BASE_URL_PATH_H
#define TARN_BASE_URL_PATH_H

#include <string_view>

#include "base/bounded_text.h"

namespace tarn::base {

inline constexpr std::size_t kHostCapacity = 260;  // characters of a host, the NUL included
inline constexpr std::size_t kUrlCapacity = 1024;  // characters of a path or URL, the NUL included

using HostText = FixedText<kHostCapacity>;
using UrlText = FixedText<kUrlCapacity>;

// Cuts path at its first "?" or "#", makes one "/" of each run of them, and puts one in front when path does not begin
// with it; an empty path becomes "/". Characters past the 1023rd are dropped silently; false when the "/" put in front
// makes the text longer than that. path may not lie inside normalized.
bool NormalizeUrlPath(std::string_view path, UrlText& normalized);

// The same in place.
bool NormalizeUrlPath(UrlText& path);

}  // namespace tarn::base

#endif
