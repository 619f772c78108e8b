// Heads of requests and answers: where a request goes, and the head that is sent on in its place.
// Pure functions on what the parser of the network library has read.
#ifndef TARN_HOST_SERVE_HTTP_HEAD_H
#define TARN_HOST_SERVE_HTTP_HEAD_H

#include <optional>
#include <string>
#include <string_view>

#include "host/serve/beast.h"
#include "host/serve/upstream.h"

namespace tarn::host::serve {

using RequestParser = http::request_parser<http::buffer_body>;
using ResponseParser = http::response_parser<http::buffer_body>;
using RequestHead = http::request<http::buffer_body>;
using ResponseHead = http::response<http::buffer_body>;

inline constexpr std::size_t kMostHead = 65536;

struct PlannedRequest {
    Target target;
    std::string head;  // that is sent: as a browser would send it to the server itself, "Host" first
    // The head as it is judged where that is another one: lists know hosts without dots around them.
    std::string judgedHead{};
    // The same request in the simplest form, for what the library does not read of the head: other methods than GET
    // and POST, and targets that are too long.
    std::string standIn{};
    bool isStandInCut = false;
    // The same for the server's name that CONNECT gave, where "Host" has another one.
    std::string standInByTarget{};
    bool isConnect = false;
    bool isUpgrade = false;
    bool isChunked = false;  // the body
    std::string mistake{};   // what is wrong with it; the rest says nothing then
};

// fixed: the server of a connection that the client opened through a proxy; without it the request names one.
// isChunked: how the parser reads the body, which is how it must be announced.
PlannedRequest PlanRequest(const RequestHead& request, const std::optional<Target>& fixed, bool isChunked);

// CONNECT as a browser sends it, which names a server and nothing else.
std::string ConnectHead(const Target& target);

// Whether the head announces the body as the parser reads it: nothing but one "chunked", in HTTP/1.1, may stand in
// Transfer-Encoding, so that nobody finds another end of the body.
bool HasPlainFraming(const RequestHead& head, bool isChunked);
bool HasPlainFraming(const ResponseHead& head, bool isChunked);

// Whether the server changed to web sockets, the only protocol that is asked for.
bool IsWebSocket(const ResponseHead& answer);

// Whether it asks the proxy itself for the script that sets a browser up.
bool AsksForScript(const RequestHead& request);

// Its Accept-Language; the request keeps the text.
std::string_view LanguagesOf(const RequestHead& request);

// Whether the request may be sent twice (RFC 9110, 9.2.2).
bool IsIdempotent(http::verb method);

// The head for the client. isChunked: the body is sent in chunks. isLast: the connection ends behind it.
std::string AnswerHead(const ResponseHead& answer, bool isChunked, bool isLast, unsigned clientVersion);

// An answer of the server's own, with its body. isHead: without it, but with its length.
std::string OwnAnswer(unsigned status, std::string_view type, std::string_view body, bool isLast, bool isHead);

}  // namespace tarn::host::serve

#endif
