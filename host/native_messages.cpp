#include "host/native_messages.h"

#include <array>
#include <cstring>

namespace tarn::host {

Received ReceiveMessage(std::istream& input, std::string& message) {
    std::array<char, sizeof(std::uint32_t)> bytes{};
    input.read(bytes.data(), bytes.size());
    if (input.gcount() == 0) return Received::kEnd;
    if (!input) return Received::kBroken;
    std::uint32_t length = 0;
    std::memcpy(&length, bytes.data(), sizeof length);
    if (length > kMostFramed) return Received::kBroken;
    if (length > kMostReceived) {
        input.ignore(length);
        return input.gcount() == static_cast<std::streamsize>(length) ? Received::kTooLong : Received::kBroken;
    }
    message.resize(length);
    input.read(message.data(), length);
    return input ? Received::kMessage : Received::kBroken;
}

bool SendMessage(const Event& message, std::ostream& out) {
    const std::string text = message.dump(-1, ' ', false, Event::error_handler_t::replace);
    if (text.size() > kMostSent) return false;
    const auto length = static_cast<std::uint32_t>(text.size());
    std::array<char, sizeof length> bytes{};
    std::memcpy(bytes.data(), &length, sizeof length);
    out.write(bytes.data(), bytes.size());
    out.write(text.data(), length);
    out.flush();
    return out.good();
}

}  // namespace tarn::host
