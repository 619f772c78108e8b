// Turns the first bytes of an HTTP request or an FTP command into host, path and display URL.
// TLS hellos have a parser of their own. Pure functions: any thread may call them.
#ifndef TARN_URL_REQUEST_PARSER_H
#define TARN_URL_REQUEST_PARSER_H

#include "base/bounded_text.h"
#include "base/byte_reader.h"
#include "base/url_path.h"

namespace tarn::url {

inline constexpr std::size_t kMaxRequestLength = 2047;  // bytes of a request that are looked at

using base::kHostCapacity;
using base::UrlText;

struct ParsedRequest {
    UrlText host;  // lower case, without port; at most 259 characters
    UrlText path;  // lower case, without query; empty for a request of "/"
    UrlText url;   // host as sent, with its port, and path in the request's letter case

    void Clear() {
        host.Clear();
        path.Clear();
        url.Clear();
    }
};

// Reads GET, POST and CONNECT requests of HTTP/1.x with a "Host: " line. The text ends at its first NUL. False leaves
// the three texts as far as they were filled: the caller empties them.
bool ParseHttpRequest(base::Bytes request, ParsedRequest& out);

// Reads RETR, CWD and LIST. The path as sent goes into displayPath, its lower case into matchPath. False leaves
// matchPath empty or partly filled.
bool ParseFtpCommand(base::Bytes data, UrlText& matchPath, UrlText& displayPath);

}  // namespace tarn::url

#endif
