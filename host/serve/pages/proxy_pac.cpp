#include "host/serve/pages/proxy_pac.h"

#include <algorithm>
#include <fmt/format.h>

namespace tarn::host::serve {

namespace {

bool IsAddress(std::string_view text) {
    return !text.empty() && std::all_of(text.begin(), text.end(), [](char c) {
        return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '.' || c == ':' ||
               c == '[' || c == ']' || c == '-';
    });
}

}  // namespace

std::string ProxyPac(std::string_view proxy) {
    if (!IsAddress(proxy)) return "function FindProxyForURL(url, host) {\n  return \"DIRECT\";\n}\n";
    return fmt::format(R"(// Everything goes through the filter but what stays on this machine.
function FindProxyForURL(url, host) {{
  if (host === "localhost" || shExpMatch(host, "*.localhost") || host === "[::1]" || host === "::1" ||
      /^127(\.[0-9]+){{3}}$/.test(host)) {{
    return "DIRECT";
  }}
  return "PROXY {}";
}}
)",
                       proxy);
}

}  // namespace tarn::host::serve
