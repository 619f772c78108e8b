// The network library, in the one way in which both compilers take it.
#ifndef TARN_HOST_SERVE_ASIO_H
#define TARN_HOST_SERVE_ASIO_H

// clang-format off
#include <utility>  // before any header of Boost 1.74, which uses std::exchange without it
// clang-format on
#include <boost/asio.hpp>
#include <boost/system/error_code.hpp>

namespace tarn::host::serve {

namespace asio = boost::asio;
using Tcp = asio::ip::tcp;
using Udp = asio::ip::udp;
using ErrorCode = boost::system::error_code;
using Strand = asio::strand<asio::io_context::executor_type>;
using Socket = asio::basic_stream_socket<Tcp, Strand>;  // each on a strand of its own
using Timer =
    asio::basic_waitable_timer<std::chrono::steady_clock, asio::wait_traits<std::chrono::steady_clock>, Strand>;

}  // namespace tarn::host::serve

#endif
