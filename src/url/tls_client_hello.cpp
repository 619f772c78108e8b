#include "url/tls_client_hello.h"

#include <cstdint>

namespace tarn::url {
namespace {

constexpr std::uint8_t kHandshakeRecord = 22;
constexpr std::uint8_t kClientHello = 1;
constexpr std::uint16_t kSsl30 = 0x0300;
constexpr std::uint16_t kServerNameExtension = 0;

// QUIRK: a one-byte length of 128 and above is refused, whatever the length of the data.
// Test: TlsClientHello_LengthBytesOf128AndAbove_AreRefused
bool SkipShortVector(base::ByteReader& reader) {
    constexpr std::uint8_t kMaxLength = 127;
    std::uint8_t length = 0;
    return reader.Be(length) && length <= kMaxLength && reader.Skip(length);
}

// From the record header to the length of the extension block.
bool SkipToExtensions(base::ByteReader& reader, std::uint16_t& extensionsLength) {
    constexpr std::size_t kRecordVersionAndLength = 4;
    constexpr std::size_t kHandshakeLength = 3;
    constexpr std::size_t kRandom = 32;
    std::uint8_t record = 0;
    std::uint8_t message = 0;
    std::uint16_t version = 0;
    base::Bytes cipherSuites;
    if (!reader.Be(record) || record != kHandshakeRecord || !reader.Skip(kRecordVersionAndLength)) return false;
    if (!reader.Be(message) || message != kClientHello || !reader.Skip(kHandshakeLength)) return false;
    if (!reader.Be(version) || version == kSsl30 || !reader.Skip(kRandom)) return false;
    return SkipShortVector(reader) && reader.Prefixed<std::uint16_t>(cipherSuites) && SkipShortVector(reader) &&
           reader.Be(extensionsLength);
}

// The name behind the header of a server_name extension: list length, name type, name.
bool ReadServerName(base::Bytes extension, UrlText& host) {
    constexpr std::size_t kListLengthAndNameType = 3;
    base::ByteReader reader(extension);
    base::Bytes bytes;
    if (!reader.Skip(kListLengthAndNameType) || !reader.Prefixed<std::uint16_t>(bytes)) return false;
    if (bytes.size() >= kHostCapacity) return false;
    const std::string_view name = base::TextOf(bytes);
    return host.Assign(name.substr(0, name.find('\0')));
}

}  // namespace

bool ExtractTlsServerName(base::Bytes data, UrlText& host) {
    base::ByteReader reader(data);
    std::uint16_t extensionsLength = 0;
    if (!SkipToExtensions(reader, extensionsLength)) return false;
    const base::Bytes toEnd = reader.Rest();
    base::Bytes extensions;
    if (!reader.Take(extensionsLength, extensions)) return false;

    base::ByteReader walk(extensions);
    std::uint16_t type = 0;
    std::uint16_t length = 0;
    while (walk.Be(type) && walk.Be(length)) {
        // QUIRK: the name is bounded by the data; its extension's own length is not tested.
        // Test: AServerNameIsReadWhateverItsExtensionsLengthSays
        if (type == kServerNameExtension && length != 0) return ReadServerName(toEnd.subspan(walk.Position()), host);
        if (!walk.Skip(length)) break;
    }
    host.Clear();
    return true;
}

}  // namespace tarn::url
