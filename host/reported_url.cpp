#include "host/reported_url.h"

#include <fmt/format.h>

#include "tarn/records.h"

#include "base/text.h"
#include "host/printable_text.h"

namespace tarn::host {

bool KindOfReported(std::string_view url, std::uint8_t& kind, std::string& mistake) {
    const std::string_view scheme = url.substr(0, url.find("://"));
    if (scheme.size() == url.size())
        mistake = "it has no scheme; a browser reports whole addresses, such as https://shop.example/";
    else if (base::EqualIgnoringCase(scheme, "https"))
        kind = TARN_KIND_TLS;
    else if (base::EqualIgnoringCase(scheme, "http"))
        kind = TARN_KIND_HTTP;
    else
        mistake = fmt::format("its scheme is \"{}\", and http:// and https:// are reported", Printable(scheme, 20));
    if (mistake.empty() && url.find('\0') != std::string_view::npos) mistake = "it has a NUL inside";
    return mistake.empty();
}

}  // namespace tarn::host
