// What is read back after a restart or from the product's files: sessions, product data.
#include <algorithm>
#include <array>
#include <atomic>
#include <cstring>
#include <string>

#include "base/hash.h"
#include "fakes/clocks.h"
#include "fakes/no_modules.h"
#include "machine/product_data.h"
#include "parental/logon_check.h"
#include "parental/saved_sessions.h"
#include "targets.h"

namespace tarn::fuzz {
namespace {

// What the settings module keeps. Plain functions can reach it only as a global.
ByteList storedSessions;

std::uint8_t TARN_CALL ReadSessions(std::uint64_t, PcSystemControlRecord* out, std::uint32_t*) {
    out->count = static_cast<std::uint32_t>(storedSessions.size() / sizeof(SavedSessionRecord));
    const std::size_t size = out->count * sizeof(SavedSessionRecord);
    auto* const block = new std::uint8_t[size];
    std::copy_n(storedSessions.begin(), size, block);
    out->records = reinterpret_cast<SavedSessionRecord*>(block);
    return 1;
}

void TARN_CALL ReleaseSessions(PcSystemControlRecord* record) {
    delete[] reinterpret_cast<std::uint8_t*>(record->records);
    *record = {};
}

std::uint8_t TARN_CALL WriteSessions(std::uint64_t, const PcSystemControlRecord* record, std::uint32_t*) {
    const auto* const bytes = reinterpret_cast<const std::uint8_t*>(record->records);
    storedSessions.assign(bytes, bytes + record->count * sizeof(SavedSessionRecord));
    return 1;
}

class MemoryFile final : public machine::ProductFile {
 public:
    explicit MemoryFile(Bytes bytes) : bytes_(bytes) {}
    bool ReadExactly(std::span<std::uint8_t> out) override {
        std::size_t count = 0;
        return ReadSome(out, count) && count == out.size();
    }
    bool ReadSome(std::span<std::uint8_t> out, std::size_t& count) override {
        count = std::min(out.size(), bytes_.size() - at_);
        std::copy_n(bytes_.begin() + static_cast<std::ptrdiff_t>(at_), count, out.begin());
        at_ += count;
        return true;
    }
    bool SeekTo(std::uint32_t offset) override {
        at_ = std::min<std::size_t>(offset, bytes_.size());
        return true;
    }

 private:
    Bytes bytes_;
    std::size_t at_ = 0;
};

}  // namespace

// A settings entry's identifier (64 bytes) and mode, an event, then saved sessions.
void SavedSessions(Bytes input) {
    Pieces pieces(input);
    parental::SettingsCopy settings;
    Require(settings.entries.Allocate(1, {}), "there is memory for an entry");
    settings.loaded = true;
    const Bytes sid = pieces.Take(64);
    std::memcpy(settings.entries[0].leading.sid, sid.data(), sid.size());
    settings.mode = pieces.Byte();
    settings.entries[0].leading.controlled = 1;
    LogonEvent event{};
    const Bytes eventBytes = pieces.Take(sizeof event);
    std::memcpy(&event, eventBytes.data(), eventBytes.size());
    const Bytes saved = pieces.Rest();
    storedSessions.assign(saved.begin(), saved.end());
    const std::size_t count = saved.size() / sizeof(SavedSessionRecord);

    modules::Companions companions;
    companions.statusReader = modules::StatusReader{.ReadPCSystemControlSettings = ReadSessions,
                                                    .ReleasePCSystemControlSettings = ReleaseSessions,
                                                    .WritePCSystemControlSettings = WriteSessions};
    fakes::NoModules system;
    fakes::UtcClock clock;
    clock.Set({2026, 3, 3, 4, 5, 6, 7, 8});
    std::uint32_t error = 0;
    parental::UserSessionTable table;
    modules::ModuleCalls calls(companions, system, error);
    parental::LoadUserSessions(table, settings, calls, clock);
    Require(table.Records().size() == count, "every saved account is loaded");
    for (const parental::UserSessionRecord& record : table.Records())
        Require(std::ranges::find(record.userName, u'\0') != record.userName.end(), "a name is terminated");

    // What is saved is loaded as the same again.
    Require(parental::SaveUserSessions(table, calls, clock), "the accounts are saved");
    const ByteList first = storedSessions;
    Require(first.size() == count * sizeof(SavedSessionRecord), "every account is saved");
    parental::UserSessionTable again;
    parental::LoadUserSessions(again, settings, calls, clock);
    Require(parental::SaveUserSessions(again, calls, clock) && storedSessions == first,
            "saving and loading change nothing");

    const std::size_t before = table.Records().size();
    parental::RecordSessionEvent(event, table, settings, clock.Now());
    Require(table.Records().size() <= before + 1, "an event adds at most one account");
}

// The file, whose CRC is put right when the first byte asks for it: otherwise few inputs would get further.
void ProductData(Bytes input) {
    constexpr std::size_t kHeader = 8;
    constexpr std::size_t kCrcAt = 4;
    Pieces pieces(input);
    const bool mendsCrc = (pieces.Byte() & 1U) != 0;
    const Bytes rest = pieces.Rest();
    ByteList content(rest.begin(), rest.end());
    const bool hasBody = content.size() >= kHeader;
    const std::uint32_t crc = hasBody ? base::Crc32Of(AsText(Bytes(content).subspan(kHeader))) : std::uint32_t{0};
    if (mendsCrc && hasBody)
        for (std::size_t i = 0; i < 4; ++i) content[kCrcAt + i] = static_cast<std::uint8_t>(crc >> (8 * i));
    const bool isRight =
        hasBody && std::equal(content.begin() + kCrcAt, content.begin() + kHeader,
                              std::array{static_cast<std::uint8_t>(crc), static_cast<std::uint8_t>(crc >> 8),
                                         static_cast<std::uint8_t>(crc >> 16), static_cast<std::uint8_t>(crc >> 24)}
                                  .begin());
    const ExactBlock block(content);
    const bool isLong = content.size() >= kHeader + machine::kProductRecordSize;

    machine::ProductRecord record;
    record.fill(0xCC);
    std::atomic<bool> checkedOnce = false;
    MemoryFile file(block.View());
    const bool isRead = machine::ReadProductConfiguration(file, checkedOnce, record);
    Require(isRead == (isRight && isLong), "a file is taken when its CRC is right and it is long enough");
    Require(checkedOnce == isRight, "a right file is remembered");
    if (isRead) {
        Require(std::equal(record.begin(), record.end(), content.begin() + kHeader), "the record is the file's");
        base::PathBuffer name;
        Require(machine::AgentExecutableName(machine::VersionOf(record), name), "an executable's name fits");
        Require(machine::AgentServiceName(machine::VersionOf(record), name), "a service's name fits");
    } else {
        Require(std::ranges::count(record, 0xCC) == std::ssize(record), "a refused file writes nothing");
    }
    checkedOnce = true;
    MemoryFile later(block.View());
    Require(machine::ReadProductConfiguration(later, checkedOnce, record) == isLong, "a later file is not checked");
}

}  // namespace tarn::fuzz
