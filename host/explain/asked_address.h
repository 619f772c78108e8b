// What the lists of a policy are asked with for one request: the texts that a scan makes of it (docs/limits.md).
#ifndef TARN_HOST_EXPLAIN_ASKED_ADDRESS_H
#define TARN_HOST_EXPLAIN_ASKED_ADDRESS_H

#include <cstdint>
#include <string>
#include <string_view>

#include "host/capture/transport_view.h"
#include "host/verdict_report.h"

namespace tarn::host {

struct AskedAddress {
    std::uint8_t kind = TARN_KIND_HTTP;  // of the connection
    bool isReported = false;             // by a browser's extension: no connection is known
    std::string whyNot;                  // why host and path are not known; empty when they are
    bool hasNoVerdict = false;           // whyNot ends the scan without a verdict, or with one before any list
    std::string host;                    // in lower case, without port; of a reported address as it stands
    std::string path;                    // in lower case, without query; empty for the root
    std::string hostAndPath;
    std::string url;          // what categories are asked with
    std::string addressText;  // of the server of a TLS connection
    IpAddress server;
};

// Of an HTTP request or TLS hello as captured or composed.
AskedAddress AskedOf(const JudgedRequest& request);
// Of an https:// address that an extension reports.
AskedAddress AskedOfReported(std::string_view url);
// Of what a verdict says was asked: host and path, with or without a scheme.
AskedAddress AskedOfText(std::string_view text, const AskedAddress& like);

}  // namespace tarn::host

#endif
