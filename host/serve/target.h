// Where a client wants to go, as it names it.
#ifndef TARN_HOST_SERVE_TARGET_H
#define TARN_HOST_SERVE_TARGET_H

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace tarn::host::serve {

struct Target {
    std::string host;  // a name, or an address without brackets
    std::uint16_t port = 0;
    [[nodiscard]] std::string Text() const;  // "host:port", with brackets where they are needed
    bool operator==(const Target&) const = default;
};
// "host:port" or "[address]:port"; port 0: one is needed. Numbers that some systems take for an address in another
// form than "192.0.2.1" are none, nor are names with letters beyond ASCII.
std::optional<Target> ParseTarget(std::string_view text, std::uint16_t port);

// A dot behind a name is the root's, and resolves to the same; no list has one.
std::string_view WithoutOuterDots(std::string_view host);
// But for letter case and outer dots.
bool IsSameName(std::string_view one, std::string_view other);

}  // namespace tarn::host::serve

#endif
