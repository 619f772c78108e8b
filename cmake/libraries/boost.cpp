// What Asio and Beast would compile in every file that includes them.
// clang-format off
#include <utility>  // before any header of Boost 1.74, which uses std::exchange without it
// clang-format on
#include <boost/asio/impl/src.hpp>
#include <boost/beast/src.hpp>
