#include "base/url_path.h"

#include <algorithm>

#include "base/assert.h"
#include "base/text.h"

namespace tarn::base {

bool NormalizeUrlPath(std::string_view path, UrlText& normalized) {
    TARN_ASSERT(!normalized.BeginsInside(path));
    const bool isRooted = path.starts_with('/');
    path = path.substr(0, FindEither(path, '?', '#'));
    if (isRooted && path.size() <= UrlText::kMaxLength && FindText(path, "//") == std::string_view::npos)
        return normalized.Assign(path);

    char* const out = normalized.Data();
    const std::size_t front = isRooted ? 0 : 1;
    if (!isRooted) out[0] = '/';
    std::size_t length = 0;  // of the text behind the "/" put in front
    bool fits = true;
    for (std::size_t i = 0; i < path.size() && length < UrlText::kMaxLength; ++i) {
        if (path[i] == '/' && i != 0 && path[i - 1] == '/') continue;
        if (front + length < UrlText::kMaxLength)
            out[front + length] = path[i];
        else
            fits = false;
        ++length;
    }
    normalized.SetLength(std::min(front + length, UrlText::kMaxLength));
    return fits;
}

bool NormalizeUrlPath(UrlText& path) {
    const UrlText copy = path;
    return NormalizeUrlPath(copy.View(), path);
}

}  // namespace tarn::base
