// A minimal ClientHello for tests that need a valid one; the parser's own vectors stand with its tests.
// Record and handshake lengths are left 0: the library does not read them.
#ifndef TARN_TESTS_URL_TLS_HELLO_H
#define TARN_TESTS_URL_TLS_HELLO_H

#include <string>

namespace tarn::url {

inline std::string TlsHello(const std::string& serverName) {
    const auto word = [](std::size_t value) {
        return std::string{static_cast<char>(value >> 8), static_cast<char>(value & 0xFF)};
    };
    std::string extensions = word(10) + word(2) + word(29);
    if (!serverName.empty()) {
        const std::string name = std::string(1, '\0') + word(serverName.size()) + serverName;
        extensions += word(0) + word(name.size() + 2) + word(name.size()) + name;
    }
    std::string hello("\x16\x03\x01\0\0\x01\0\0\0\x03\x03", 11);
    hello += std::string(32, 'r') + std::string(1, '\0') + word(2) + word(0x1301) + std::string("\x01\0", 2);
    return hello + word(extensions.size()) + extensions;
}

}  // namespace tarn::url

#endif
