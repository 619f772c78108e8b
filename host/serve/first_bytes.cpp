#include "host/serve/first_bytes.h"

#include <algorithm>
#include <string_view>

#include "host/protocol_choice.h"
#include "host/request_view.h"

namespace tarn::host::serve {

namespace {

constexpr std::uint8_t kHandshake = 22;
constexpr std::uint8_t kClientHello = 1;
constexpr std::size_t kHandshakeHeader = 4;
constexpr std::size_t kMostMethod = 64;
constexpr std::size_t kMostLine = 8192;
constexpr int kMostEmptyRecords = 32;  // several servers pass over them

struct RecordHeader {
    std::uint8_t kind = 0;
    std::uint8_t major = 0;
    std::uint8_t minor = 0;
    std::uint16_t length = 0;

    bool Read(base::ByteReader& reader) {
        base::ByteReader ahead(reader);
        if (!ahead.Be(kind) || !ahead.Be(major) || !ahead.Be(minor) || !ahead.Be(length)) return false;
        reader = ahead;
        return true;
    }
};

// The handshake bytes of the records so far; false when one of them is of another kind.
bool CollectHandshake(base::Bytes said, std::vector<std::uint8_t>& message) {
    base::ByteReader reader(said);
    int empty = 0;
    RecordHeader header;
    while (header.Read(reader)) {
        if (header.kind != kHandshake || header.major != 3) return !message.empty();
        if (header.length == 0 && ++empty > kMostEmptyRecords) return false;
        base::Bytes there;
        if (!reader.Take(std::min<std::size_t>(header.length, reader.Remaining()), there)) return false;
        message.insert(message.end(), there.begin(), there.end());
    }
    return true;
}

// Bytes of the hello with its header; 0 when that is not known yet.
std::size_t HelloLength(const std::vector<std::uint8_t>& message) {
    std::uint32_t kindAndLength = 0;
    if (!base::ByteReader(message).Be(kindAndLength)) return 0;
    return kHandshakeHeader + (kindAndLength & 0xFFFFFF);
}

Speech RecogniseTls(base::Bytes said) {
    if (!BeginsLikeHello(said)) return Speech::kOther;
    std::vector<std::uint8_t> message;
    if (!CollectHandshake(said, message) || (!message.empty() && message.front() != kClientHello))
        return Speech::kOther;
    const std::size_t length = HelloLength(message);
    if (length != 0 && message.size() >= length) return Speech::kTls;
    return length > kMostHello || said.size() >= kMostHello ? Speech::kTlsCut : Speech::kMore;
}

// Of a token (RFC 9110, 5.6.2), which every method is.
bool IsTokenCharacter(char c) {
    return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') ||
           std::string_view("!#$%&'*+-.^_`|~").find(c) != std::string_view::npos;
}

Speech RecogniseText(base::Bytes said) {
    const std::string_view text(reinterpret_cast<const char*>(said.data()), said.size());
    const auto end = std::find_if_not(text.begin(), text.end(), IsTokenCharacter);
    const auto blank = static_cast<std::size_t>(end - text.begin());
    if (blank > kMostMethod) return Speech::kOther;
    if (blank == text.size()) return Speech::kMore;
    if (blank == 0 || text[blank] != ' ') return Speech::kOther;
    constexpr std::string_view kPreface = "PRI * HTTP/2.0\r\n";
    if (text.starts_with("PRI ")) {
        if (BeginsHttp2(said)) return Speech::kHttp2;
        if (kPreface.starts_with(text)) return Speech::kMore;
    }
    if (ChooseProtocol({said, 0}) == &HttpProtocol()) return Speech::kHttp;
    // Web servers answer methods that they do not know, and go on with the next request.
    const std::size_t lineEnd = text.find('\n');
    if (text.substr(0, lineEnd).find(" HTTP/1.") != std::string_view::npos) return Speech::kHttp;
    return lineEnd != std::string_view::npos || text.size() >= kMostLine ? Speech::kOther : Speech::kMore;
}

}  // namespace

std::size_t LeadingLineEnds(base::Bytes said) {
    return static_cast<std::size_t>(
        std::find_if(said.begin(), said.end(), [](std::uint8_t byte) { return byte != '\r' && byte != '\n'; }) -
        said.begin());
}

bool BeginsLikeHello(base::Bytes said) {
    base::ByteReader reader(said);
    std::uint8_t kind = 0;
    std::uint8_t major = 3;  // unless the next byte says something else
    return reader.Be(kind) && kind == kHandshake && (!reader.Be(major) || major == 3);
}

Speech Recognise(base::Bytes said) {
    said = said.subspan(LeadingLineEnds(said));
    if (said.empty()) return Speech::kMore;
    return said.front() == kHandshake ? RecogniseTls(said) : RecogniseText(said);
}

std::vector<std::uint8_t> JoinHello(base::Bytes said) {
    std::vector<std::uint8_t> message;
    const bool isHandshake = CollectHandshake(said, message);
    const std::size_t length = HelloLength(message);
    if (!isHandshake || length == 0 || message.size() < length || length > 0xFFFF) return {said.begin(), said.end()};
    RecordHeader first;
    base::ByteReader reader(said);
    if (!first.Read(reader)) return {said.begin(), said.end()};
    std::vector<std::uint8_t> hello{kHandshake, 3, first.minor, static_cast<std::uint8_t>(length >> 8),
                                    static_cast<std::uint8_t>(length)};
    hello.insert(hello.end(), message.begin(), message.begin() + static_cast<std::ptrdiff_t>(length));
    return hello;
}

}  // namespace tarn::host::serve
