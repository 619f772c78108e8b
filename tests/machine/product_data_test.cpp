#include "machine/product_data.h"

#include <algorithm>
#include <cstring>
#include <gtest/gtest.h>
#include <string>
#include <vector>

#include "base/hash.h"

namespace tarn::machine {
namespace {

using FileBytes = std::vector<std::uint8_t>;

// A file of the given size behind its header, with the right CRC.
FileBytes GoodFile(std::uint8_t major, std::uint8_t minor, std::size_t recordSize = kProductRecordSize) {
    FileBytes record(recordSize);
    std::uint8_t value = 3;
    for (std::uint8_t& byte : record) byte = value += 7;
    if (recordSize > 2635) {
        record.at(2634) = major;
        record.at(2635) = minor;
    }
    base::Crc32 crc;
    crc.Add(record);
    FileBytes bytes = {0xAA, 0xBB, 0xCC, 0xDD};
    for (int shift = 0; shift < 32; shift += 8) bytes.push_back(static_cast<std::uint8_t>(crc.Value() >> shift));
    bytes.insert(bytes.end(), record.begin(), record.end());
    return bytes;
}

FileBytes BadFile(std::uint8_t major, std::uint8_t minor) {
    FileBytes bytes = GoodFile(major, minor);
    bytes.at(100) ^= 1;
    return bytes;
}

class MemoryFile final : public ProductFile {
 public:
    explicit MemoryFile(FileBytes bytes, std::size_t largestRead = SIZE_MAX)
        : bytes_(std::move(bytes)), largestRead_(largestRead) {}

    bool failingReads = false;
    bool failingSeek = false;
    std::vector<std::string> calls;

    bool ReadExactly(std::span<std::uint8_t> out) override {
        calls.push_back("exactly " + std::to_string(out.size()));
        if (failingReads || bytes_.size() - at_ < out.size()) return false;
        std::memcpy(out.data(), bytes_.data() + at_, out.size());
        at_ += out.size();
        return true;
    }
    bool ReadSome(std::span<std::uint8_t> out, std::size_t& count) override {
        calls.push_back("some " + std::to_string(out.size()));
        if (failingReads) return false;
        count = std::min({out.size(), bytes_.size() - at_, largestRead_});
        std::memcpy(out.data(), bytes_.data() + at_, count);
        at_ += count;
        return true;
    }
    bool SeekTo(std::uint32_t offset) override {
        calls.push_back("seek " + std::to_string(offset));
        if (failingSeek) return false;
        at_ = std::min<std::size_t>(offset, bytes_.size());
        return true;
    }

 private:
    FileBytes bytes_;
    std::size_t largestRead_;
    std::size_t at_ = 0;
};

constexpr std::uint8_t kUntouched = 0xA5;

// One process's memory of the check, and the record of the last read.
struct Reader {
    std::atomic<bool> checkedOnce{false};
    ProductRecord record{};

    bool Read(MemoryFile& file) {
        record.fill(kUntouched);
        return ReadProductConfiguration(file, checkedOnce, record);
    }
    bool Read(const FileBytes& bytes, std::size_t largestRead = SIZE_MAX) {
        MemoryFile file(bytes, largestRead);
        return Read(file);
    }
    [[nodiscard]] bool Untouched() const {
        return std::ranges::all_of(record, [](std::uint8_t byte) { return byte == kUntouched; });
    }
};

TEST(ProductData, AGoodFileGivesItsRecord) {
    const FileBytes bytes = GoodFile(12, 3);
    Reader reader;
    ASSERT_TRUE(reader.Read(bytes));
    EXPECT_TRUE(std::equal(reader.record.begin(), reader.record.end(), bytes.begin() + 8));
    EXPECT_EQ(VersionOf(reader.record).major, 12);
    EXPECT_EQ(VersionOf(reader.record).minor, 3);
    EXPECT_TRUE(reader.checkedOnce);
}

TEST(ProductData, TheCheckReadsBlocksAndThenTheRecord) {
    MemoryFile file(GoodFile(1, 1));
    Reader reader;
    ASSERT_TRUE(reader.Read(file));
    EXPECT_EQ(file.calls, (std::vector<std::string>{"exactly 8", "some 4096", "some 4096", "seek 8", "exactly 2642"}));
    MemoryFile again(GoodFile(1, 1));
    ASSERT_TRUE(reader.Read(again));
    EXPECT_EQ(again.calls, (std::vector<std::string>{"seek 8", "exactly 2642"}));
}

TEST(ProductData, LongerFilesCountToTheirEnd) {
    for (const std::size_t size : {std::size_t{2643}, std::size_t{4096}, std::size_t{4097}, std::size_t{20000}}) {
        const FileBytes good = GoodFile(4, 5, size);
        EXPECT_TRUE(Reader().Read(good)) << size;
        EXPECT_TRUE(Reader().Read(good, 1000)) << "in small pieces, " << size;
        FileBytes bad = good;
        bad.at(bad.size() - 1) ^= 0x80;
        EXPECT_FALSE(Reader().Read(bad)) << size;
    }
}

TEST(ProductData, AnyChangedBitFailsTheCheck) {
    const FileBytes good = GoodFile(12, 3);
    for (std::size_t at = 0; at < good.size(); at += at < 16 ? 1 : 331) {
        FileBytes changed = good;
        changed[at] ^= 4;
        Reader reader;
        // The first four bytes mean nothing here and are covered by nothing.
        EXPECT_EQ(reader.Read(changed), at < 4) << at;
        EXPECT_EQ(reader.Untouched(), at >= 4) << at;
        EXPECT_EQ(reader.checkedOnce, at < 4) << at;
    }
}

TEST(ProductData, ABadFileIsNotRememberedAndTheNextOneIsChecked) {
    Reader reader;
    EXPECT_FALSE(reader.Read(BadFile(1, 1)));
    EXPECT_FALSE(reader.Read(BadFile(1, 1)));
    EXPECT_TRUE(reader.Read(GoodFile(2, 2)));
    EXPECT_EQ(VersionOf(reader.record).major, 2);
}

TEST(ProductData, ProductData_AfterOneGoodFile_LaterFilesAreNotChecked) {
    Reader reader;
    ASSERT_TRUE(reader.Read(GoodFile(1, 1)));
    ASSERT_TRUE(reader.Read(BadFile(9, 8)));
    EXPECT_EQ(VersionOf(reader.record).major, 9);
    EXPECT_EQ(VersionOf(reader.record).minor, 8);
    Reader another;
    EXPECT_FALSE(another.Read(BadFile(9, 8))) << "the memory is the process's, not the function's";
}

TEST(ProductData, EveryTruncationFails) {
    const FileBytes good = GoodFile(12, 3);
    for (const bool checked : {false, true}) {
        for (std::size_t size = 0; size < good.size(); size += size < 20 || size > 2620 ? 1 : 97) {
            Reader reader;
            reader.checkedOnce = checked;
            EXPECT_FALSE(reader.Read(FileBytes(good.begin(), good.begin() + static_cast<std::ptrdiff_t>(size))))
                << size;
            EXPECT_TRUE(reader.Untouched()) << size;
            EXPECT_EQ(reader.checkedOnce, checked) << size;
        }
    }
}

TEST(ProductData, AShortFileWithARightCrcFailsAndCountsAsChecked) {
    for (const std::size_t size : {std::size_t{0}, std::size_t{1}, std::size_t{2641}}) {
        Reader reader;
        EXPECT_FALSE(reader.Read(GoodFile(1, 1, size))) << size;
        EXPECT_TRUE(reader.checkedOnce) << size;
        EXPECT_TRUE(reader.Untouched()) << size;
    }
}

TEST(ProductData, ReadsAndSeeksThatFailFailTheWhole) {
    MemoryFile unreadable(GoodFile(1, 1));
    unreadable.failingReads = true;
    Reader reader;
    EXPECT_FALSE(reader.Read(unreadable));
    EXPECT_FALSE(reader.checkedOnce);
    MemoryFile unseekable(GoodFile(1, 1));
    unseekable.failingSeek = true;
    EXPECT_FALSE(reader.Read(unseekable));
    EXPECT_TRUE(reader.Untouched());
}

TEST(ProductData, NamesOfTheAgent) {
    const struct {
        ProductVersion version;
        const char16_t* executable;
        const char16_t* service;
    } cases[] = {{{5, 1}, u"HOSTASVC501.EXE", u"CLIENT AGENT 5.1"},
                 {{12, 3}, u"HOSTASVC1203.EXE", u"CLIENT AGENT 12.3"},
                 {{0, 0}, u"HOSTASVC000.EXE", u"CLIENT AGENT 0.0"},
                 {{7, 10}, u"HOSTASVC710.EXE", u"CLIENT AGENT 7.10"},
                 {{255, 255}, u"HOSTASVC255255.EXE", u"CLIENT AGENT 255.255"}};
    for (const auto& c : cases) {
        base::PathBuffer name{};
        ASSERT_TRUE(AgentExecutableName(c.version, name));
        EXPECT_EQ(base::FieldText(name), c.executable);
        ASSERT_TRUE(AgentServiceName(c.version, name));
        EXPECT_EQ(base::FieldText(name), c.service);
    }
}

}  // namespace
}  // namespace tarn::machine
