// Tables, a result record with a known filling, and a way to compare both; every frame is scanned from a heap block of
// exactly its size.
#ifndef TARN_TESTS_SMB_SMB_MONITOR_H
#define TARN_TESTS_SMB_SMB_MONITOR_H

#include <algorithm>
#include <cstring>
#include <memory>
#include <optional>
#include <ostream>
#include <stdexcept>
#include <string>

#include "base/bounded_text.h"
#include "smb/frame_dispatch.h"
#include "smb/smb_frames.h"

namespace tarn::smb {

inline constexpr int kFilling = 0x5A;
inline constexpr std::uint16_t kActionUntouched = 0x5A5A;

inline std::u16string TextOf(const void* field) {
    base::PathBuffer text;
    std::memcpy(text.data(), field, sizeof text);
    return std::u16string(base::FieldText(text));
}

// What a report says, for comparing as a whole.
struct FileEvent {
    std::u16string share;
    std::u16string file;
    std::uint16_t action = 0;

    bool operator==(const FileEvent&) const = default;
    friend std::ostream& operator<<(std::ostream& stream, const FileEvent& event) {
        for (const std::u16string* text : {&event.share, &event.file}) {
            for (const char16_t unit : *text) stream << (unit < 0x7F ? static_cast<char>(unit) : '?');
            stream << " | ";
        }
        return stream << event.action;
    }
};

// A text of an event; one that no event has when there is none.
inline std::u16string ShareOf(const std::optional<FileEvent>& event) {
    return event ? event->share : u"(no event)";
}
inline std::u16string FileOf(const std::optional<FileEvent>& event) {
    return event ? event->file : u"(no event)";
}

// What a table has under its lowest key. An empty one ends the test.
template <class Table>
const auto& FirstOf(const Table& table) {
    if (table.empty()) throw std::out_of_range("nothing is in the table");
    return table.begin()->second;
}

struct TablesSnapshot {
    Smb2PendingRequests smb2Pending;
    Smb2Sessions smb2Sessions;
    Smb1PendingRequests smb1Pending;
    Smb1Clients smb1Clients;

    bool operator==(const TablesSnapshot&) const = default;
};

inline TablesSnapshot SnapshotOf(SmbTables& tables) {
    constexpr auto kCopy = [](const auto& table) { return table; };
    return {tables.smb2PendingRequests.Write(kCopy), tables.smb2Sessions.Write(kCopy),
            tables.smb1PendingRequests.Write(kCopy), tables.smb1Clients.Write(kCopy)};
}

class Monitor {
 public:
    bool Scan(const ByteList& frame, std::size_t length) {
        std::memset(&result, kFilling, sizeof result);
        const std::unique_ptr<std::uint8_t[]> block(new std::uint8_t[length]);
        std::copy_n(frame.begin(), length, block.get());
        return ScanSmbFrame({block.get(), length}, 1, tables, result);
    }
    bool Scan(const ByteList& frame) { return Scan(frame, frame.size()); }
    bool FromClient(const ByteList& message, std::uint8_t client = kClientHost) {
        return Scan(smb::FromClient(message, client));
    }
    bool FromServer(const ByteList& message, std::uint8_t client = kClientHost) {
        return Scan(smb::FromServer(message, client));
    }

    // What the last scan reported.
    [[nodiscard]] std::optional<FileEvent> Event() const {
        if (result.resultKind != TARN_SMB_FILE_EVENT) return std::nullopt;
        return FileEvent{TextOf(&result.sharePath), TextOf(&result.fileName), result.createAction};
    }
    // Nothing but the result kind was written.
    [[nodiscard]] bool SaysNothing() const {
        SmbScanResult untouched;
        std::memset(&untouched, kFilling, sizeof untouched);
        untouched.resultKind = TARN_SMB_NOTHING;
        return std::memcmp(&result, &untouched, sizeof result) == 0;
    }
    [[nodiscard]] TablesSnapshot Snapshot() { return SnapshotOf(tables); }

    SmbTables tables;
    SmbScanResult result{};
};

}  // namespace tarn::smb

#endif
