#include "url/tls_client_hello.h"

#include <cstdint>
#include <optional>
#include <string_view>

namespace tarn::url {
namespace {

constexpr std::uint8_t kHandshakeRecord = 22;
constexpr std::uint8_t kClientHello = 1;
constexpr std::uint16_t kServerNameExtension = 0;
constexpr std::size_t kSessionIdLengthAt = 43;
constexpr std::size_t kMinLength = 44;

// QUIRK: a one-byte length of 128 and above is sign-extended, so it never fits.
// Test: TlsClientHello_LengthBytesOf128AndAbove_AreRefused
constexpr std::size_t WidenSigned(std::uint8_t byte) {
    return static_cast<std::uint16_t>(static_cast<std::int16_t>(static_cast<std::int8_t>(byte)));
}

// The extension block, or nothing when an inner length passes the end.
std::optional<base::Bytes> Extensions(base::Bytes data) {
    base::ByteReader reader(data);
    std::uint8_t sessionIdLength = 0;
    std::uint16_t cipherSuitesLength = 0;
    std::uint8_t compressionMethodsLength = 0;
    std::uint16_t extensionsLength = 0;
    base::Bytes extensions;
    if (!reader.Skip(kSessionIdLengthAt) || !reader.Be(sessionIdLength)) return std::nullopt;
    if (!reader.Skip(WidenSigned(sessionIdLength)) || !reader.Be(cipherSuitesLength)) return std::nullopt;
    if (!reader.Skip(cipherSuitesLength) || !reader.Be(compressionMethodsLength)) return std::nullopt;
    if (!reader.Skip(WidenSigned(compressionMethodsLength)) || !reader.Be(extensionsLength)) return std::nullopt;
    if (!reader.Take(extensionsLength, extensions)) return std::nullopt;
    return extensions;
}

}  // namespace

bool ExtractTlsServerName(base::Bytes data, HostText& host) {
    if (data.size() < kMinLength || data[0] != kHandshakeRecord || data[5] != kClientHello) return false;
    if (data[9] == 3 && data[10] == 0) return false;  // SSL 3.0
    const std::optional<base::Bytes> extensions = Extensions(data);
    if (!extensions) return false;

    base::ByteReader walk(*extensions);
    while (walk.Remaining() > 0) {
        std::uint16_t type = 0;
        std::uint16_t length = 0;
        if (!walk.Be(type) || !walk.Be(length)) break;
        if (type == kServerNameExtension && length != 0) {
            // The name is bounded by the data, not by its extension: the extension's own length is not tested here.
            base::ByteReader name(
                data.subspan(static_cast<std::size_t>(extensions->data() - data.data()) + walk.Position()));
            std::uint16_t nameLength = 0;
            base::Bytes bytes;
            if (!name.Skip(3) || !name.Be(nameLength) || !name.Take(nameLength, bytes)) return false;
            std::string_view text(reinterpret_cast<const char*>(bytes.data()), bytes.size());
            text = text.substr(0, text.find('\0'));
            return bytes.size() < kHostCapacity && host.Assign(text);
        }
        if (!walk.Skip(length)) break;
    }
    host.Clear();
    return true;
}

}  // namespace tarn::url
