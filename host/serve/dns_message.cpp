#include "host/serve/dns_message.h"

#include <algorithm>
#include <fmt/format.h>

#include "base/text.h"

namespace tarn::host::serve {

namespace {

constexpr std::size_t kHeaderLength = 12;
constexpr std::size_t kLongestName = 255;  // on the wire, with the lengths of its labels
constexpr std::uint16_t kResponseFlag = 0x8000;
constexpr std::uint16_t kTruncatedFlag = 0x0200;
constexpr std::uint16_t kRecursionWantedFlag = 0x0100;
constexpr std::uint16_t kRecursionHereFlag = 0x0080;
constexpr std::uint16_t kCheckingOffFlag = 0x0010;
constexpr std::uint16_t kOpcodeBits = 0x7800;
constexpr std::uint16_t kTypeOpt = 41;
constexpr std::uint16_t kOwnUdpSize = 1232;  // fits every path unfragmented (RFC 9715)
constexpr std::uint16_t kPointerToQuestion = 0xC000 | kHeaderLength;

void AppendLabel(std::string& name, base::Bytes label) {
    if (!name.empty()) name += '.';
    for (const std::uint8_t byte : label) {
        const char c = base::ToLowerAscii(static_cast<char>(byte));
        if ((c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '-' || c == '_')
            name += c;
        else
            name += fmt::format("\\{:03}", byte);
    }
}

// Reads past the name at the reader's place. With name it is written there, else only walked. A question has no
// pointer: nothing stands before it that one could lead to.
bool ReadName(base::Bytes message, base::ByteReader& reader, std::string* name) {
    std::size_t length = 1;
    std::size_t lowest = reader.Position();
    base::ByteReader walk = reader;
    bool followed = false;
    for (;;) {
        std::uint8_t count = 0;
        if (!walk.Be(count)) return false;
        if (count == 0) break;
        if ((count & 0xC0) == 0xC0) {
            std::uint8_t low = 0;
            if (name != nullptr || !walk.Be(low)) return false;
            const std::size_t target = static_cast<std::size_t>(count & 0x3F) << 8 | low;
            if (target < kHeaderLength || target >= lowest) return false;
            if (!followed) reader = walk;
            followed = true;
            lowest = target;
            walk = base::ByteReader(message);
            if (!walk.Skip(target)) return false;
            continue;
        }
        base::Bytes label;
        length += count + std::size_t{1};
        if (count > 63 || length > kLongestName || !walk.Take(count, label)) return false;
        if (name != nullptr) AppendLabel(*name, label);
    }
    if (!followed) reader = walk;
    if (name != nullptr && name->empty()) *name = ".";
    return true;
}

bool ReadRecord(base::Bytes bytes, base::ByteReader& reader, DnsMessage& message) {
    std::uint16_t type = 0;
    std::uint16_t recordClass = 0;
    base::Bytes data;
    if (!ReadName(bytes, reader, nullptr) || !reader.Be(type) || !reader.Be(recordClass) || !reader.Skip(4) ||
        !reader.Prefixed<std::uint16_t>(data))
        return false;
    if (type == kTypeOpt) message.udpSize = recordClass;
    return true;
}

void Put16(std::vector<std::uint8_t>& out, std::uint16_t value) {
    out.push_back(static_cast<std::uint8_t>(value >> 8));
    out.push_back(static_cast<std::uint8_t>(value));
}

void Put32(std::vector<std::uint8_t>& out, std::uint32_t value) {
    Put16(out, static_cast<std::uint16_t>(value >> 16));
    Put16(out, static_cast<std::uint16_t>(value));
}

// Header and question; records follow, the optional one of a query that had one by PutUdpSize.
std::vector<std::uint8_t> BeginAnswer(base::Bytes query, const std::optional<DnsMessage>& parsed, std::uint16_t extra,
                                      std::uint16_t answers) {
    std::vector<std::uint8_t> out;
    base::ByteReader reader(query);
    std::uint16_t id = 0;
    std::uint16_t flags = 0;
    if (query.size() < kHeaderLength || !reader.Be(id) || !reader.Be(flags)) return out;
    Put16(out, id);
    flags &= kOpcodeBits | kRecursionWantedFlag | kCheckingOffFlag;
    Put16(out, static_cast<std::uint16_t>(flags | kResponseFlag | kRecursionHereFlag | extra));
    Put16(out, parsed ? 1 : 0);
    Put16(out, answers);
    Put16(out, 0);
    Put16(out, parsed && parsed->udpSize ? 1 : 0);
    if (const auto question = base::Window(query, kHeaderLength, parsed ? parsed->questionEnd - kHeaderLength : 0))
        out.insert(out.end(), question->begin(), question->end());
    return out;
}

void PutUdpSize(std::vector<std::uint8_t>& out, const std::optional<DnsMessage>& parsed) {
    if (!parsed || !parsed->udpSize) return;
    out.push_back(0);  // the root
    Put16(out, kTypeOpt);
    Put16(out, kOwnUdpSize);
    Put32(out, 0);
    Put16(out, 0);
}

std::vector<std::uint8_t> ComposeEmpty(base::Bytes query, std::uint16_t extra) {
    const std::optional<DnsMessage> parsed = ParseDnsMessage(query);
    std::vector<std::uint8_t> out = BeginAnswer(query, parsed, extra, 0);
    PutUdpSize(out, parsed);
    return out;
}

}  // namespace

std::size_t DnsMessage::LargestUdpAnswer() const {
    return std::clamp<std::size_t>(udpSize.value_or(0), kSmallestUdpAnswer, kLargestUdpAnswer);
}

std::optional<DnsMessage> ParseDnsMessage(base::Bytes bytes) {
    DnsMessage message;
    base::ByteReader reader(bytes);
    std::uint16_t flags = 0;
    std::uint16_t questions = 0;
    std::uint16_t counts[3] = {};
    if (!reader.Be(message.id) || !reader.Be(flags) || !reader.Be(questions)) return std::nullopt;
    for (std::uint16_t& count : counts)
        if (!reader.Be(count)) return std::nullopt;
    message.isResponse = (flags & kResponseFlag) != 0;
    message.isTruncated = (flags & kTruncatedFlag) != 0;
    message.opcode = static_cast<std::uint8_t>((flags & kOpcodeBits) >> 11);
    message.result = flags & 0x0F;
    if (questions != 1 || !ReadName(bytes, reader, &message.question.name) || !reader.Be(message.question.type) ||
        !reader.Be(message.question.dnsClass))
        return std::nullopt;
    message.questionEnd = reader.Position();
    for (const std::uint16_t count : counts)
        for (std::uint16_t i = 0; i < count; ++i)
            if (!ReadRecord(bytes, reader, message)) return std::nullopt;
    return message;
}

std::optional<std::uint16_t> DnsIdOf(base::Bytes bytes) {
    std::uint16_t id = 0;
    base::ByteReader reader(bytes);
    if (bytes.size() < kHeaderLength || !reader.Be(id)) return std::nullopt;
    return id;
}

void SetDnsId(std::vector<std::uint8_t>& message, std::uint16_t id) {
    if (message.size() < 2) return;
    message.at(0) = static_cast<std::uint8_t>(id >> 8);
    message.at(1) = static_cast<std::uint8_t>(id);
}

std::vector<std::uint8_t> ComposeDnsResult(base::Bytes query, DnsResult result) {
    return ComposeEmpty(query, static_cast<std::uint16_t>(result));
}

std::vector<std::uint8_t> ComposeDnsTruncated(base::Bytes query) {
    return ComposeEmpty(query, kTruncatedFlag);
}

std::vector<std::uint8_t> ComposeDnsAddress(base::Bytes query, const IpAddress& address, std::uint32_t seconds) {
    const std::optional<DnsMessage> parsed = ParseDnsMessage(query);
    if (!parsed) return {};
    const std::uint16_t wanted = address.isIpv6 ? kDnsTypeAaaa : kDnsTypeA;
    const bool isWanted = parsed->question.type == wanted && parsed->question.dnsClass == kDnsClassIn;
    std::vector<std::uint8_t> out = BeginAnswer(query, parsed, 0, isWanted ? 1 : 0);
    if (isWanted) {
        const std::size_t length = address.isIpv6 ? 16 : 4;
        Put16(out, kPointerToQuestion);
        Put16(out, wanted);
        Put16(out, kDnsClassIn);
        Put32(out, seconds);
        Put16(out, static_cast<std::uint16_t>(length));
        out.insert(out.end(), address.bytes.begin(), address.bytes.begin() + static_cast<std::ptrdiff_t>(length));
    }
    PutUdpSize(out, parsed);
    return out;
}

}  // namespace tarn::host::serve
