// Messages between a browser and a program that it has started, as browsers frame them: four bytes of length in the
// machine's order, then JSON in UTF-8. Streams and events are the caller's; used by one thread.
#ifndef TARN_HOST_NATIVE_MESSAGES_H
#define TARN_HOST_NATIVE_MESSAGES_H

#include <cstddef>
#include <cstdint>
#include <istream>
#include <ostream>
#include <string>

#include "host/event.h"

namespace tarn::host {

inline constexpr std::size_t kMostReceived = std::size_t{64} * 1024;           // of one message; an address is shorter
inline constexpr std::uint32_t kMostFramed = std::uint32_t{64} * 1024 * 1024;  // that a browser would send
inline constexpr std::size_t kMostSent = std::size_t{1024} * 1024;             // that a browser takes

enum class Received {
    kMessage,
    kTooLong,  // it was read over, and the next one can be read
    kEnd,
    kBroken  // it ends within a message, or what stands there is no length
};
Received ReceiveMessage(std::istream& input, std::string& message);

// False when it cannot be written, or is longer than a browser takes.
bool SendMessage(const Event& message, std::ostream& out);

}  // namespace tarn::host

#endif
