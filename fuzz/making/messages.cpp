#include "making/messages.h"

#include <algorithm>
#include <string_view>

namespace tarn::fuzz {
namespace {

// ---- TLS (RFC 8446, 4.1.2) ----

constexpr std::size_t kMostHostLength = 259;
constexpr std::size_t kMostShortVector = 127;

constexpr std::uint16_t kServerName = 0;
constexpr std::uint16_t kEncryptedHello = 0xFE0D;
constexpr std::uint16_t kExtensions[] = {10, 16, 23, 43, 51, 0x0A0A, 21, kEncryptedHello};

void PutServerName(std::string_view name, std::size_t moreNames, MarkedBytes& out) {
    out.PutMarked(kServerName, 2);
    const std::size_t extension = out.Open(2);
    const std::size_t list = out.Open(2);
    for (std::size_t i = 0; i <= moreNames; ++i) {
        out.Put(0, 1);
        const std::size_t length = out.Open(2);
        out.PutText(i == 0 ? name : "second.example");
        out.Close(length);
    }
    out.Close(list);
    out.Close(extension);
}

void PutExtension(Pieces& pieces, std::uint8_t choice, MadeHello& made, MarkedBytes& out) {
    const std::uint16_t type = kExtensions[(choice >> 1) % std::size(kExtensions)];
    made.hides |= type == kEncryptedHello;
    out.PutMarked(type, 2);
    const std::size_t length = out.Open(2);
    out.PutBytes(pieces.Take(choice >> 4));
    out.Close(length);
}

// ---- DNS (RFC 1035, 4.1) ----

constexpr std::size_t kMostMessage = 2047;
constexpr std::size_t kMostQuestionName = 255;  // characters, its NUL not counted
constexpr std::size_t kMostAnswerName = 259;
constexpr std::uint16_t kTypes[] = {1, 28, 5, 16, 1, 28};  // A, AAAA, CNAME, TXT

// One label at least; the name dotted.
std::string PutName(Pieces& pieces, MarkedBytes& out) {
    std::string name;
    const std::size_t labels = 1 + pieces.Byte() % 6;
    for (std::size_t i = 0; i < labels; ++i) {
        std::string label(pieces.TakeText(pieces.Byte() % 64));
        if (label.empty()) label = "a";
        const std::size_t length = out.Open(1);
        out.PutText(label);
        out.Close(length);
        name += (i == 0 ? "" : ".") + label;
    }
    out.Put(0, 1);
    return name;
}

void PutAnswer(Pieces& pieces, MadeDnsResponse& made, std::vector<IpAddressRecord>& ipv6, MarkedBytes& out) {
    const std::uint8_t choice = pieces.Byte();
    if ((choice & 1) == 0)
        out.PutMarked(0xC00C, 2);  // the name of the question
    else
        made.isTaken &= PutName(pieces, out).size() <= kMostAnswerName;
    const std::uint16_t type = kTypes[(choice >> 1) % std::size(kTypes)];
    out.PutMarked(type, 2);
    out.Put(1, 2);
    out.Put(300, 4);
    const std::size_t length = out.Open(2);
    const std::size_t size = type == 1 ? 4 : type == 28 ? 16 : choice >> 4;
    ByteList data(size);
    std::ranges::copy(pieces.Take(size), data.begin());
    out.PutBytes(data);
    out.Close(length);
    IpAddressRecord address{};
    address.family = type == 1 ? TARN_FAMILY_IPV4 : TARN_FAMILY_IPV6;
    if (type == 1 || type == 28) {
        std::ranges::copy(data, address.bytes);
        (type == 1 ? made.addresses : ipv6).push_back(address);
    }
}

}  // namespace

MadeHello PutHello(Pieces& pieces, MarkedBytes& out) {
    MadeHello made;
    out.SetOrder(ByteOrder::kNetwork);
    const std::uint8_t shape = pieces.Byte();
    out.PutMarked(22, 1);
    out.Put(0x0301, 2);
    const std::size_t record = out.Open(2);
    out.PutMarked(1, 1);
    const std::size_t handshake = out.Open(3);
    const std::uint16_t version = (shape & 0x0F) == 0x0F ? 0x0300 : 0x0303;
    made.isTaken = version != 0x0300;
    out.Put(version, 2);
    out.PutZeros(32);
    const std::size_t session = out.Open(1);
    out.PutZeros((shape & 0x10) != 0 ? pieces.Byte() : (shape & 0x20));
    made.isTaken &= out.Size() - session - 1 <= kMostShortVector;
    out.Close(session);
    const std::size_t ciphers = out.Open(2);
    out.PutZeros(2U * (1U + (shape >> 6)));
    out.Close(ciphers);
    const std::size_t compressions = out.Open(1);
    out.Put(0, 1);
    out.Close(compressions);

    const std::size_t extensions = out.Open(2);
    const std::size_t count = pieces.Byte() % 8;
    bool hasName = false;
    for (std::size_t i = 0; i < count; ++i) {
        const std::uint8_t choice = pieces.Byte();
        if (choice % 2 == 0) {
            PutExtension(pieces, choice, made, out);
            continue;
        }
        const std::string_view name = pieces.TakeText(pieces.Byte() + ((choice & 0x80) != 0 ? 64U : 0U));
        PutServerName(name, choice >> 1 & 1, out);
        if (hasName) continue;  // the first one counts
        hasName = true;
        made.isTaken &= name.size() <= kMostHostLength;
        made.name = name;
    }
    out.Close(extensions);
    out.Close(handshake);
    out.Close(record);
    return made;
}

MadeDnsResponse PutDnsResponse(Pieces& pieces, MarkedBytes& out) {
    MadeDnsResponse made;
    out.SetOrder(ByteOrder::kNetwork);
    const std::size_t start = out.Size();
    const std::uint8_t shape = pieces.Byte();
    const std::uint16_t flags = (shape & 0x0F) == 0x0F ? 0x8000 : 0x8180;
    made.isTaken = flags != 0x8000;
    const std::size_t answers = (shape >> 4) % 9;
    out.Put(0x4711, 2);
    out.PutMarked(flags, 2);
    out.PutMarked(1, 2);
    out.PutMarked(answers, 2);
    out.Put(0, 2);
    out.PutMarked(0, 2);
    made.name = PutName(pieces, out);
    made.isTaken &= made.name.size() <= kMostQuestionName;
    out.Put(1, 2);
    out.Put(1, 2);
    std::vector<IpAddressRecord> ipv6;
    for (std::size_t i = 0; i < answers; ++i) PutAnswer(pieces, made, ipv6, out);
    made.addresses.insert(made.addresses.end(), ipv6.begin(), ipv6.end());
    made.isTaken &= out.Size() - start <= kMostMessage;
    return made;
}

}  // namespace tarn::fuzz
