// The parsers and buffers of the HTTP library, in the one way in which both compilers take them.
#ifndef TARN_HOST_SERVE_BEAST_H
#define TARN_HOST_SERVE_BEAST_H

// clang-format off
#include <utility>  // before any header of Boost 1.74, which uses std::exchange without it
// clang-format on
#include <boost/beast/core/flat_buffer.hpp>
#include <boost/beast/core/string.hpp>
#include <boost/beast/http/buffer_body.hpp>
#include <boost/beast/http/message.hpp>
#include <boost/beast/http/parser.hpp>
#include <boost/beast/http/rfc7230.hpp>

namespace tarn::host::serve {

namespace beast = boost::beast;
namespace http = boost::beast::http;

}  // namespace tarn::host::serve

#endif
