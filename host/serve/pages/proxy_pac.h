// The script that sets a browser up to use the filter, from one URL.
#ifndef TARN_HOST_SERVE_PAGES_PROXY_PAC_H
#define TARN_HOST_SERVE_PAGES_PROXY_PAC_H

#include <string>
#include <string_view>

namespace tarn::host::serve {

// proxy: address and port, such as "127.0.0.1:8080" or "[::1]:8080". Everything goes there but what stays on the
// machine itself; there is no way around it, and with a proxy a browser speaks no QUIC. Without one (empty, or letters
// that no such address has) nothing is proxied.
std::string ProxyPac(std::string_view proxy);

}  // namespace tarn::host::serve

#endif
