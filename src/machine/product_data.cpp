#include "machine/product_data.h"

#include "base/byte_reader.h"
#include "base/hash.h"

namespace tarn::machine {
namespace {

constexpr std::uint32_t kHeaderSize = 8;
constexpr std::size_t kCrcAt = 4;  // in the header; covers every byte behind the header
constexpr std::size_t kBlockSize = 4096;
constexpr std::size_t kMajorAt = 2634;  // in the record
constexpr std::size_t kMinorAt = 2635;

bool CrcIsRight(ProductFile& file) {
    std::array<std::uint8_t, kHeaderSize> header{};
    std::uint32_t expected = 0;
    if (!file.ReadExactly(header)) return false;
    base::ByteReader reader(header);
    if (!reader.Skip(kCrcAt) || !reader.Le(expected)) return false;
    base::Crc32 crc;
    std::array<std::uint8_t, kBlockSize> block;
    for (;;) {
        std::size_t count = 0;
        if (!file.ReadSome(block, count)) return false;
        if (count == 0) return crc.Value() == expected;
        crc.Add(base::Bytes(block).first(count));
    }
}

}  // namespace

bool ReadProductConfiguration(ProductFile& file, std::atomic<bool>& checkedOnce, ProductRecord& record) {
    if (!checkedOnce.load()) {
        if (!CrcIsRight(file)) return false;
        checkedOnce.store(true);
    }
    ProductRecord read;
    if (!file.SeekTo(kHeaderSize) || !file.ReadExactly(read)) return false;
    record = read;
    return true;
}

ProductVersion VersionOf(const ProductRecord& record) {
    return {record[kMajorAt], record[kMinorAt]};
}

bool AgentExecutableName(ProductVersion version, base::PathBuffer& name) {
    return base::Succeeded(
        base::FormatText(name, {u"HOSTASVC", std::uint32_t{version.major},
                                base::TextPiece<char16_t>(std::uint32_t{version.minor}, 2), u".EXE"}));
}

bool AgentServiceName(ProductVersion version, base::PathBuffer& name) {
    return base::Succeeded(
        base::FormatText(name, {u"CLIENT AGENT ", std::uint32_t{version.major}, u".", std::uint32_t{version.minor}}));
}

}  // namespace tarn::machine
