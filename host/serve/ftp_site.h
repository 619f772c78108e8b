// The hosts that an FTP command names: HOST (RFC 7151), and logins that a server hands on to another one.
// Pure functions on what a client sent.
#ifndef TARN_HOST_SERVE_FTP_SITE_H
#define TARN_HOST_SERVE_FTP_SITE_H

#include <optional>
#include <vector>

#include "host/serve/ftp_line.h"
#include "host/serve/target.h"

namespace tarn::host::serve {

// Empty for most commands; nothing when one of them is no host that can be asked about.
std::optional<std::vector<Target>> SitesOf(const FtpCommand& command);

}  // namespace tarn::host::serve

#endif
