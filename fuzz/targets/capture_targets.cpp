// Captures that are made right and then broken now and then: the reader finds every frame, and whatever stands in the
// frames, what a replay prints is harmless to a terminal, to programs and to a page.
#include <algorithm>
#include <cstring>
#include <sstream>
#include <string>

#include "base/bounded_text.h"
#include "host/capture/capture_reader.h"
#include "host/capture/link_layer.h"
#include "host/capture_replay.h"
#include "host/expectations/expected_lines.h"
#include "host/report/event_reader.h"
#include "making/capture_files.h"
#include "report_checks.h"
#include "targets.h"

namespace tarn::fuzz {
namespace {

struct MadeFile {
    ByteList bytes;
    MadeFrames frames;
    bool isWhole = false;
};

MadeFile TakeCapture(Pieces& pieces) {
    const std::uint8_t shape = pieces.Byte();
    // What breaks the file stands in front, so that it stays the same when the rest of an input changes.
    const Bytes how = pieces.Take(6);
    MarkedBytes file;
    MadeFile made;
    made.frames = (shape & 1) != 0 ? PutPcapng(pieces, file) : PutPcap(pieces, file);
    Pieces choice(how);
    made.isWhole = file.MayBreak(choice);
    made.bytes = file.All();
    if ((shape & 0x0E) != 0x0E) return made;
    made.bytes = Packed(made.bytes);
    if ((shape & 0x30) != 0x30) return made;
    made.bytes.resize(choice.Number() % made.bytes.size());
    made.isWhole = false;
    return made;
}

void RequireFrames(const MadeFile& made) {
    std::istringstream stream{std::string(AsText(made.bytes))};
    host::CaptureReader reader(stream);
    host::CapturedFrame frame;
    for (const MadeCapturedFrame& expected : made.frames) {
        Require(reader.Next(frame), "every frame of a whole capture is found");
        ByteList bytes = expected.bytes;
        host::MakeEthernet(expected.linkType, bytes);
        Require(frame.bytes == bytes, "a frame is found as it was captured");
        Require(frame.timeNanoseconds == expected.nanoseconds, "the time of a frame is found");
        Require(frame.linkType == expected.linkType && frame.IsCut() == expected.isCut, "what a frame is, is found");
    }
    Require(!reader.Next(frame) && reader.Error().empty(), "a whole capture is read to its end");
}

// Stands in for the library: answers follow from the bytes, and its texts are made of them.
class HostileLibrary final : public host::Judge {
 public:
    host::Judgement ScanUrl(std::uint8_t, base::Bytes data, const host::Endpoint&) override {
        constexpr std::uint32_t kReasons[] = {0, 1, 2, 5, 6, 7, 8, 9, 15, 22, 26, 26, 26, 99};
        const std::uint32_t sum = SumOf(data);
        host::Judgement judgement;
        judgement.isValid = sum % 16 != 0;
        judgement.verdict.reason = kReasons[sum % std::size(kReasons)];
        judgement.verdict.allow = sum % 3 == 0 ? TARN_BLOCK : TARN_ALLOW;
        PutText(data, &judgement.verdict.text, sizeof judgement.verdict.text.url);
        PutText(data, &judgement.verdict.blockedHost, sizeof judgement.verdict.blockedHost);
        PutText(data, &judgement.verdict.blockedPath, sizeof judgement.verdict.blockedPath);
        PutText(data, &judgement.verdict.categoryName, sizeof judgement.verdict.categoryName);
        PutText(data, &judgement.verdict.userName, sizeof judgement.verdict.userName);
        return judgement;
    }
    PacketVerdict ScanPacket(base::Bytes frame, std::uint16_t rule, bool) override {
        const std::uint32_t sum = SumOf(frame);
        PacketVerdict verdict{};
        verdict.action = sum % 4 == 0 ? TARN_PACKET_BLOCK : TARN_PACKET_ALLOW;
        verdict.filled = sum % 4 <= 1 ? 1 : 0;
        verdict.reason = sum % 32;
        verdict.ruleId = rule;
        PutText(frame, &verdict.ruleName, sizeof verdict.ruleName);
        PutText(frame, &verdict.description, sizeof verdict.description);
        PutText(frame, &verdict.details, sizeof verdict.details);
        return verdict;
    }
    std::optional<SmbScanResult> ScanSmb(base::Bytes frame, bool) override {
        const std::uint32_t sum = SumOf(frame);
        if (sum % 8 != 1) return std::nullopt;
        SmbScanResult result{};
        result.resultKind = TARN_SMB_FILE_EVENT;
        result.createAction = static_cast<std::uint16_t>(sum % 5);
        PutText(frame, &result.sharePath, sizeof result.sharePath);
        PutText(frame, &result.fileName, sizeof result.fileName);
        return result;
    }
    bool DropConnection(base::Bytes frame) override { return SumOf(frame) % 2 == 0; }
    void BlockAddress(const std::string&, const std::string&) override {}

 private:
    static std::uint32_t SumOf(Bytes bytes) {
        std::uint32_t sum = 0;
        for (const std::uint8_t byte : bytes) sum = sum * 31 + byte;
        return sum;
    }
    // The end of the bytes, where a payload stands; the field ends with a NUL as the library's do.
    static void PutText(Bytes bytes, void* field, std::size_t size) {
        const std::size_t count = std::min(bytes.size(), size - 2);
        std::memset(field, 0, size);
        std::memcpy(field, bytes.data() + (bytes.size() - count), count);
    }
};

std::string Replayed(const MadeFile& made, std::uint8_t choice, bool json) {
    host::ReportStyle style;
    style.json = json;
    style.verbose = (choice & 1) != 0;
    style.brief = (choice & 2) != 0;
    style.quiet = (choice & 12) == 12;
    style.columns = (choice & 16) != 0 ? 20U + choice % 128U : 0U;
    std::ostringstream out;
    HostileLibrary library;
    const auto report = host::MakeReport(out, style);
    host::FrameScanOptions options;
    options.drop = (choice & 32) != 0;
    const host::AddressReplacement replacement{{false, {192, 0, 2, 1}}, {false, {203, 0, 113, 5}}};
    host::CaptureReplay replay(library, *report, {replacement}, options);
    std::istringstream stream{std::string(AsText(made.bytes))};
    std::string mistake;
    const bool isRead = replay.Replay(stream, "made.pcap", mistake);
    Require(isRead == mistake.empty(), "a capture is read or a mistake says why not");
    Require(isRead || !made.isWhole, "a whole capture is replayed");
    Require(!made.isWhole || replay.WhatWasRead().frames == made.frames.size(), "every frame is counted");
    report->Summary(replay.WhatWasRead(), {mistake.empty() ? 0U : 1U, false, nullptr});
    return out.str();
}

// What a run has printed is what another run of the same is expected to print.
void RequireExpected(const std::string& lines) {
    std::istringstream expected(lines);
    host::ExpectedLines wanted;
    std::string mistake;
    Require(wanted.Read(expected, mistake), "what a replay prints can be expected of the next one");
    std::istringstream found(lines);
    for (std::string line; std::getline(found, line);) {
        const auto object = host::ExpectedLines::Object::parse(line);
        if (!host::IsComparedType(object["type"].get<std::string>())) continue;
        std::vector<host::Comparison> compared;
        const host::ExpectedLine* match = nullptr;
        Require(wanted.Take(object, compared, match) == host::LineMatch::kSame, "a replay is as it was expected");
    }
    Require(wanted.Missing().empty(), "nothing is missing that was expected");
}

}  // namespace

void MadeCapture(Bytes input) {
    Pieces pieces(input);
    const MadeFile made = TakeCapture(pieces);
    CaptureFile(made.bytes);
    if (made.isWhole) RequireFrames(made);
}

void ReplayedCapture(Bytes input) {
    Pieces pieces(input);
    const std::uint8_t choice = pieces.Byte();
    const MadeFile made = TakeCapture(pieces);
    RequireHarmless(Replayed(made, choice, false));
    const std::string lines = Replayed(made, choice, true);
    const std::size_t count = RequireEvents(lines);
    RequireExpected(lines);
    if ((choice & 0xC0) != 0xC0) return;  // a page takes long
    std::istringstream stream(lines);
    RequireReport(stream, count);
}

}  // namespace tarn::fuzz
