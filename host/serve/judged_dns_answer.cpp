#include "host/serve/judged_dns_answer.h"

#include "host/serve/dns_message.h"

namespace tarn::host::serve {

namespace {

using Message = std::vector<std::uint8_t>;

constexpr std::size_t kMost = 2047;
constexpr std::size_t kHeader = 12;
constexpr std::size_t kAnswerCount = 6;  // where it stands
constexpr std::size_t kIpv4 = 4;
constexpr std::size_t kIpv6 = 16;
constexpr std::uint16_t kTypeSvcb = 64;
constexpr std::uint16_t kTypeHttps = 65;
constexpr std::uint16_t kIpv4Hint = 4;
constexpr std::uint16_t kIpv6Hint = 6;

// Past a name; nothing here needs what it says.
bool SkipName(base::ByteReader& reader) {
    for (std::uint8_t length = 0; reader.Be(length);) {
        if (length == 0) return true;
        if ((length & 0xC0) == 0xC0) return reader.Skip(1);
        if (length > 63 || !reader.Skip(length)) return false;
    }
    return false;
}

// One more record with an address of the name that was asked for, if it fits.
void AddAddress(Message& judged, base::Bytes address) {
    constexpr std::uint8_t kOwner[] = {0xC0, kHeader};
    const bool isIpv4 = address.size() == kIpv4;
    const auto length = static_cast<std::uint8_t>(address.size());
    const auto type = static_cast<std::uint8_t>(isIpv4 ? kDnsTypeA : kDnsTypeAaaa);
    const Message fixed{kOwner[0], kOwner[1], 0, type, 0, kDnsClassIn, 0, 0, 0, 60, 0, length};
    if (judged.size() + fixed.size() + address.size() > kMost) return;
    judged.insert(judged.end(), fixed.begin(), fixed.end());
    judged.insert(judged.end(), address.begin(), address.end());
    const unsigned count = (judged[kAnswerCount] << 8U | judged[kAnswerCount + 1]) + 1U;
    judged[kAnswerCount] = static_cast<std::uint8_t>(count >> 8U);
    judged[kAnswerCount + 1] = static_cast<std::uint8_t>(count);
}

void AddAddresses(Message& judged, base::Bytes all, std::size_t length) {
    for (; all.size() >= length; all = all.subspan(length)) AddAddress(judged, all.first(length));
}

void AddHints(Message& judged, base::Bytes data) {
    base::ByteReader reader(data);
    std::uint16_t key = 0;
    base::Bytes value;
    if (!reader.Skip(2) || !SkipName(reader)) return;
    while (reader.Be(key) && reader.Prefixed<std::uint16_t>(value)) {
        if (key == kIpv4Hint) AddAddresses(judged, value, kIpv4);
        if (key == kIpv6Hint) AddAddresses(judged, value, kIpv6);
    }
}

}  // namespace

Message JudgedDnsAnswer(base::Bytes message) {
    const auto parsed = ParseDnsMessage(message);
    base::ByteReader header(message);
    std::uint16_t id = 0;
    std::uint16_t answers = 0;
    if (!parsed || parsed->questionEnd > message.size() || !header.Be(id) || !header.Skip(kAnswerCount - sizeof id) ||
        !header.Be(answers))
        return {message.begin(), message.end()};
    // A recursive answer without an error, to one question.
    Message judged{
        static_cast<std::uint8_t>(id >> 8), static_cast<std::uint8_t>(id), 0x81, 0x80, 0, 1, 0, 0, 0, 0, 0, 0};
    judged.insert(judged.end(), message.begin() + kHeader,
                  message.begin() + static_cast<std::ptrdiff_t>(parsed->questionEnd));
    base::ByteReader reader(message.subspan(parsed->questionEnd));
    for (unsigned i = 0; i < answers; ++i) {
        std::uint16_t type = 0;
        base::Bytes data;
        if (!SkipName(reader) || !reader.Be(type) || !reader.Skip(6) || !reader.Prefixed<std::uint16_t>(data)) break;
        if ((type == kDnsTypeA && data.size() == kIpv4) || (type == kDnsTypeAaaa && data.size() == kIpv6))
            AddAddress(judged, data);
        else if (type == kTypeSvcb || type == kTypeHttps)
            AddHints(judged, data);
    }
    return judged;
}

}  // namespace tarn::host::serve
