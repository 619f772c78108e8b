// Addresses as a browser's extension reports them: whole, with their scheme.
#ifndef TARN_HOST_REPORTED_URL_H
#define TARN_HOST_REPORTED_URL_H

#include <cstdint>
#include <string>
#include <string_view>

namespace tarn::host {

// The kind of connection that the address asks for; false, with what is wrong with it, when it cannot be judged.
bool KindOfReported(std::string_view url, std::uint8_t& kind, std::string& mistake);

}  // namespace tarn::host

#endif
