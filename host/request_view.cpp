#include "host/request_view.h"

#include <algorithm>
#include <cstdint>
#include <optional>
#include <string_view>

#include "base/text.h"

namespace tarn::host {

namespace {

std::string_view AsText(base::Bytes data) {
    return {reinterpret_cast<const char*>(data.data()), data.size()};
}

// Cuts the first line off text, which may end in CR LF or in LF alone.
std::string_view TakeLine(std::string_view& text) {
    const std::size_t end = text.find('\n');
    std::string_view line = text.substr(0, end);
    text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
    if (!line.empty() && line.back() == '\r') line.remove_suffix(1);
    return line;
}

std::string_view Trim(std::string_view text) {
    const std::size_t first = text.find_first_not_of(" \t");
    if (first == std::string_view::npos) return {};
    return text.substr(first, text.find_last_not_of(" \t") - first + 1);
}

std::string_view HostHeader(std::string_view headers) {
    constexpr std::string_view kName = "host:";
    while (!headers.empty()) {
        const std::string_view line = TakeLine(headers);
        if (line.empty()) break;
        if (base::StartsWithIgnoringCase(line, kName)) return Trim(line.substr(kName.size()));
    }
    return {};
}

constexpr std::uint16_t kServerName = 0;
constexpr std::uint16_t kEncryptedClientHello = 0xFE0D;

// The extensions of a hello, as far as they are there.
base::Bytes ExtensionsOf(base::Bytes data) {
    constexpr std::size_t kUpToSessionId = 5 + 4 + 2 + 32;  // record, handshake, version, random
    base::ByteReader reader(data);
    std::uint8_t sessionLength = 0;
    std::uint16_t ciphersLength = 0;
    std::uint8_t compressionLength = 0;
    std::uint16_t extensionsLength = 0;
    if (!reader.Skip(kUpToSessionId) || !reader.Be(sessionLength) || !reader.Skip(sessionLength) ||
        !reader.Be(ciphersLength) || !reader.Skip(ciphersLength) || !reader.Be(compressionLength) ||
        !reader.Skip(compressionLength) || !reader.Be(extensionsLength))
        return {};
    base::Bytes extensions;
    if (!reader.Take(std::min<std::size_t>(extensionsLength, reader.Remaining()), extensions)) return {};
    return extensions;
}

std::optional<base::Bytes> FindExtension(base::Bytes extensions, std::uint16_t wanted) {
    base::ByteReader reader(extensions);
    std::uint16_t type = 0;
    std::uint16_t length = 0;
    base::Bytes content;
    while (reader.Be(type) && reader.Be(length) && reader.Take(length, content))
        if (type == wanted) return content;
    return std::nullopt;
}

}  // namespace

RequestView ViewHttpRequest(base::Bytes data) {
    std::string_view rest = AsText(data);
    std::string_view line = TakeLine(rest);
    if (const std::size_t blank = line.find(' '); blank != std::string_view::npos) line.remove_prefix(blank + 1);
    if (const std::size_t version = line.rfind(" HTTP/"); version != std::string_view::npos)
        line = line.substr(0, version);
    RequestView view{std::string(HostHeader(rest)), std::string(line)};

    const std::size_t scheme = line.find("://");
    if (scheme != std::string_view::npos && scheme < line.find('/')) {
        const std::string_view behind = line.substr(scheme + 3);
        const std::size_t path = std::min(behind.find_first_of("/?#"), behind.size());
        if (view.host.empty()) view.host = behind.substr(0, path);
        view.path = behind.substr(path);
    }
    return view;
}

RequestView ViewTlsHello(base::Bytes data) {
    base::ByteReader names(FindExtension(ExtensionsOf(data), kServerName).value_or(base::Bytes()));
    std::uint16_t nameLength = 0;
    base::Bytes name;
    if (!names.Skip(3) || !names.Be(nameLength) || !names.Take(nameLength, name)) return {};
    return {std::string(AsText(name)), {}};
}

bool HidesHello(base::Bytes data) {
    return FindExtension(ExtensionsOf(data), kEncryptedClientHello).has_value();
}

std::size_t RecordLength(base::Bytes data) {
    constexpr std::size_t kUpToLength = 3;  // content type, version
    base::ByteReader reader(data);
    std::uint16_t length = 0;
    return reader.Skip(kUpToLength) && reader.Be(length) ? kUpToLength + sizeof length + length : 0;
}

bool BeginsHttp2(base::Bytes data) {
    return AsText(data).starts_with("PRI * HTTP/2.0\r\n");
}

RequestView ViewFtpCommand(base::Bytes data) {
    std::string_view text = AsText(data);
    return {{}, std::string(TakeLine(text))};
}

RequestView ViewDnsMessage(base::Bytes data) {
    constexpr std::size_t kHeader = 12;
    constexpr std::size_t kMaxName = 255;
    RequestView view;
    base::ByteReader reader(data);
    std::uint8_t length = 0;
    base::Bytes label;
    if (!reader.Skip(kHeader)) return view;
    // A question's name stands in full; only a length below 64 begins a label.
    while (reader.Be(length) && length != 0 && length < 64 && view.host.size() < kMaxName &&
           reader.Take(length, label)) {
        if (!view.host.empty()) view.host += '.';
        view.host += AsText(label);
    }
    return view;
}

}  // namespace tarn::host
