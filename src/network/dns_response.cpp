#include "network/dns_response.h"

#include <array>
#include <cstdint>
#include <cstring>

namespace tarn::network {
namespace {

constexpr std::size_t kMinLength = 13;
constexpr std::size_t kMaxLength = 2047;
constexpr std::size_t kScratchCapacity = 260;  // characters of an answer's name, its NUL included
constexpr std::uint16_t kTypeA = 1;
constexpr std::uint16_t kTypeAaaa = 28;
constexpr std::size_t kSlots = 2;  // addresses that an entry has room for

// Reads length-prefixed labels up to the zero length byte and writes them dotted and NUL-terminated. A length byte is
// taken as it is: compression pointers are not followed. An empty name is refused.
bool DecodeName(base::ByteReader& reader, char* name, std::size_t capacity) {
    std::size_t at = 0;
    for (;;) {
        base::Bytes label;
        if (!reader.Prefixed<std::uint8_t>(label)) return false;
        if (label.empty()) break;
        if (at + label.size() >= capacity) return false;
        std::memcpy(name + at, label.data(), label.size());
        at += label.size();
        name[at++] = '.';
    }
    if (at == 0) return false;
    name[at - 1] = '\0';
    return true;
}

// A pointer, or labels as in the question.
bool SkipAnswerName(base::ByteReader& reader) {
    std::uint8_t first = 0;
    if (!reader.Peek(first)) return false;
    const bool isPointer = (first & 0xC0U) == 0xC0U;
    if (isPointer) return reader.Skip(2);
    std::array<char, kScratchCapacity> scratch;
    return DecodeName(reader, scratch.data(), scratch.size());
}

// The first two addresses of one family, in answer order, and how many there were.
struct Found {
    std::array<IpAddressRecord, kSlots> addresses{};
    std::uint16_t count = 0;

    void Add(std::uint8_t family, base::Bytes bytes) {
        if (count < kSlots) {
            addresses[count].family = family;
            std::memcpy(addresses[count].bytes, bytes.data(), bytes.size());
        }
        ++count;
    }
};

bool ReadAnswer(base::ByteReader& reader, Found& ipv4, Found& ipv6) {
    std::uint16_t type = 0;
    std::uint16_t dataLength = 0;
    if (!SkipAnswerName(reader) || !reader.Be(type)) return false;
    if (!reader.Skip(6) || !reader.Be(dataLength)) return false;  // class and time to live
    base::ByteReader data(reader);
    base::Bytes address;
    if (type == kTypeA) {
        // QUIRK: an A record gives four bytes whatever its RDLENGTH says.  Test: DnsResponse_ARecord_IgnoresRdLength
        if (!data.Take(4, address)) return false;
        ipv4.Add(TARN_FAMILY_IPV4, address);
    } else if (type == kTypeAaaa && dataLength == 16) {
        if (!data.Take(16, address)) return false;
        ipv6.Add(TARN_FAMILY_IPV6, address);
    }
    return reader.Skip(dataLength);
}

}  // namespace

bool ParseDnsResponse(base::Bytes message, DnsAnswerEntry& answer) {
    if (message.size() < kMinLength || message.size() > kMaxLength) return false;
    base::ByteReader reader(message);
    std::uint16_t flags = 0;
    std::uint16_t answerCount = 0;
    if (!reader.Skip(2) || !reader.Be(flags)) return false;
    if (flags == 0x0000 || flags == 0x8000) return false;
    if (!reader.Skip(2) || !reader.Be(answerCount) || !reader.Skip(4)) return false;
    if (!DecodeName(reader, answer.hostName, sizeof answer.hostName)) return false;
    if (!reader.Skip(4)) return false;  // type and class of the question

    Found ipv4;
    Found ipv6;
    for (std::uint16_t i = 0; i < answerCount; ++i)
        if (!ReadAnswer(reader, ipv4, ipv6)) return false;

    answer.addressCount = static_cast<std::uint16_t>(ipv4.count + ipv6.count);
    std::memset(answer.addresses, 0, sizeof answer.addresses);
    std::size_t slot = 0;
    for (const Found* found : {&ipv4, &ipv6})
        for (std::size_t i = 0; i < found->count && i < kSlots && slot < kSlots; ++i)
            answer.addresses[slot++] = found->addresses[i];
    return true;
}

}  // namespace tarn::network
