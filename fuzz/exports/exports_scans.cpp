// The scans of the exports' world. The caller's records stand at any address in blocks of exactly their size, full of
// one byte, so that whatever a scan writes shows.
#include <algorithm>
#include <cstring>
#include <string>

#include "api/library_instance.h"
#include "exports/exports_world.h"
#include "making/frames.h"
#include "network/ethernet_frame.h"
#include "scan_world.h"

namespace tarn::fuzz {
namespace {

// A record of the caller, one byte behind an even address.
template <class Record>
class CallersRecord {
 public:
    CallersRecord() : block_(new std::uint8_t[sizeof(Record) + 1]) {
        std::memset(Get(), kUnwrittenByte, sizeof(Record));
    }
    Record* Get() { return reinterpret_cast<Record*>(block_.get() + 1); }
    Record* operator->() { return Get(); }
    void Set(const Record& record) { std::memcpy(Get(), &record, sizeof record); }
    [[nodiscard]] bool IsUnwritten(std::size_t from, std::size_t to = sizeof(Record)) const {
        return std::all_of(block_.get() + 1 + from, block_.get() + 1 + to,
                           [](std::uint8_t byte) { return byte == kUnwrittenByte; });
    }
    [[nodiscard]] bool Is(const Record& record) const {
        return std::memcmp(block_.get() + 1, &record, sizeof record) == 0;
    }

 private:
    std::unique_ptr<std::uint8_t[]> block_;
};

ScanRequest TakeRequest(Pieces& pieces, ByteList& data) {
    constexpr std::uint16_t kPorts[] = {80, 443, 21, 53, 8080};
    const std::uint8_t choice = pieces.Byte();
    ScanRequest request{};
    request.processId = choice >> 7 == 0 ? 4711 : 0;
    request.kind = static_cast<std::uint8_t>(pieces.Byte() % 6);
    request.remotePort = network::NetworkOrder(kPorts[choice % std::size(kPorts)]);
    request.stopBeforeCategories = choice >> 6 & 1;
    request.remoteAddress.family = choice >> 5 & 1;
    const std::uint8_t last = pieces.Byte();
    constexpr std::uint8_t kPrivate[] = {10, 0, 0};
    constexpr std::uint8_t kPublic[] = {192, 0, 2};
    std::ranges::copy(last % 8 == 0 ? kPrivate : kPublic, request.remoteAddress.bytes);
    request.remoteAddress.bytes[3] = last;
    data = TakePayload(pieces);
    return request;
}

std::string TakeUrl(Pieces& pieces) {
    constexpr std::string_view kUrls[] = {"https://www.lantern.example/", "https://chat.example/a/b/",
                                          "http://192.0.2.10/", "ftp://files.lantern.example/"};
    const std::uint8_t choice = pieces.Byte();
    std::string url(kUrls[choice % std::size(kUrls)]);
    url += pieces.TakeText(choice >> 2);
    if (choice == 0xFF) url.append(1100, 'x');
    return url.substr(0, url.find('\0'));
}

// The data is as it was, except that NULs may have become blanks; behind it stands a NUL or what stood there.
void RequireData(Bytes before, ExactBlock& after, const ScanRequest& request) {
    const bool mayBlank = request.kind != TARN_KIND_TLS;
    for (std::size_t i = 0; i < before.size(); ++i)
        Require(after.Data()[i] == before[i] || (mayBlank && before[i] == 0 && after.Data()[i] == ' '),
                "the data stays as it is");
}

}  // namespace

void ExportsWorld::Step(Pieces& pieces) {
    const std::uint8_t choice = pieces.Byte();
    switch (choice % 20) {
        case 0:
        case 1:
            return Init(pieces);
        case 2:
            return Deinit(choice < 200);
        case 3:
            return ShutDown(pieces);
        case 4:
            return ChangeSettings(pieces);
        case 5:
            return Update(pieces);
        case 6:
        case 7:
            return ScanUrl(pieces, false);
        case 8:
            return ScanUrl(pieces, true);
        case 9:
            return FeatureStatus(choice > 240);
        case 10:
            return ScanPacket(pieces);
        case 11:
        case 12:
            return ScanSmb(pieces);
        case 13:
            return Drop(pieces);
        case 14:
            return BlockAddress(pieces);
        case 15:
        case 16:
            return LogOn(pieces);
        case 17:
            return ChangeModules(pieces);
        default:
            return ChangeWorld(pieces);
    }
}

void ExportsWorld::ScanUrl(Pieces& pieces, bool isReported) {
    const auto scan = isReported ? WSWebExtScanUrl : WSScanUrl;
    ByteList data;
    ScanRequest request = TakeRequest(pieces, data);
    if (isReported) {
        const std::string url = TakeUrl(pieces);
        data.assign(url.c_str(), url.c_str() + url.size() + 1);
        if (request.kind % 2 == 0) request.kind = TARN_KIND_TLS;
    }
    const std::uint8_t absent = pieces.Byte();
    const auto judge = [&](CallersRecord<UrlVerdict>& verdict, CallersRecord<PromptBytes>& prompt) {
        ExactBlock block(data, isReported ? 0 : 1);
        request.data = absent == 0xF3 ? nullptr : block.Data();
        request.dataLength = static_cast<std::uint32_t>(data.size());
        CallersRecord<ScanRequest> asked;
        asked.Set(request);
        const std::uint8_t result =
            scan(absent == 0xF0 ? nullptr : asked.Get(), absent == 0xF1 ? nullptr : verdict.Get(),
                 absent == 0xF2 ? nullptr : prompt.Get());
        Require(result <= 1 && asked.Is(request), "a scan leaves the request");
        if (isReported)
            Require(std::ranges::equal(block.View(), data), "the URL stays as it is");
        else
            RequireData(data, block, request);
        return result == 1;
    };
    CallersRecord<UrlVerdict> verdict;
    CallersRecord<PromptBytes> prompt;
    const bool isValid = judge(verdict, prompt);
    if (absent >= 0xF0 && absent <= 0xF2) {
        Require(!isValid && verdict.IsUnwritten(0) && prompt.IsUnwritten(0), "a null pointer changes nothing");
        return;
    }
    if (isValid) {
        ScanOutcome outcome{true, {}, {}, "a rule"};
        std::memcpy(&outcome.verdict, verdict.Get(), sizeof outcome.verdict);
        std::memcpy(&outcome.prompt, prompt.Get(), sizeof outcome.prompt);
        RequireOutcome(outcome);
    }
    Require(!isOff_ || !isValid || verdict->allow != TARN_BLOCK, "nothing is blocked while every feature is off");
    // An answer of a DNS server names the connections that follow.
    if (request.remotePort == network::NetworkOrder(53)) return;
    CallersRecord<UrlVerdict> again;
    CallersRecord<PromptBytes> promptAgain;
    Require(judge(again, promptAgain) == isValid, "a request is judged alike twice");
    Require(again.Is(*verdict.Get()) && promptAgain.Is(*prompt.Get()), "a request gets the same verdict twice");
}

void ExportsWorld::FeatureStatus(bool isNull) {
    if (isNull) {
        Require(WSGetUrlScanFeatureStatus(nullptr) == 0, "a status without a place is refused");
        return;
    }
    std::uint8_t status = kUnwrittenByte;
    Require(WSGetUrlScanFeatureStatus(&status) == 1, "a status is always known");
    Require(!isOff_ || status == 0, "no feature is on behind the end");
}

void ExportsWorld::ScanPacket(Pieces& pieces) {
    const std::uint8_t choice = pieces.Byte();
    MarkedBytes made;
    PutFrame(TakeFramePlan(pieces), made);
    made.MayBreak(pieces);
    const ExactBlock frame(made.All());
    CallersRecord<PacketVerdict> verdict;
    const bool isNull = choice % 32 == 31;
    const auto length = static_cast<std::uint32_t>(frame.View().size());
    const std::uint8_t result = WSScanPacket(isNull ? nullptr : frame.View().data(), length, choice, choice & 1, 0,
                                             choice % 32 == 30 ? nullptr : verdict.Get());
    Require(std::ranges::equal(frame.View(), made.All()), "the frame stays as it is");
    if (isNull || length == 0 || choice % 32 == 30) {
        Require(result == 0 && verdict.IsUnwritten(0), "without a frame there is no verdict");
        return;
    }
    if (result == 0) {
        Require(answers_.scansThrow, "every frame gets a verdict");
        return;
    }
    Require(!isOff_ || verdict->action == TARN_PACKET_ALLOW, "no frame is blocked while every feature is off");
    if (verdict->filled == kUnwrittenByte) {
        Require(verdict.IsUnwritten(offsetof(PacketVerdict, ruleId)), "without a finding only the action is written");
        return;
    }
    Require(verdict->filled == 1, "a finding is completed");
    // Without a rule of that number the texts are the module's, which has none here.
    const auto isText = [&](std::size_t at, std::size_t size) {
        return verdict.IsUnwritten(at, at + size) ||
               IsTerminated<char16_t>(reinterpret_cast<const std::uint8_t*>(verdict.Get()) + at, size);
    };
    Require(isText(offsetof(PacketVerdict, ruleName), sizeof verdict->ruleName) &&
                isText(offsetof(PacketVerdict, description), sizeof verdict->description) &&
                isText(offsetof(PacketVerdict, details), sizeof verdict->details),
            "the texts of a finding are terminated");
}

// The next frame of a conversation, or of a new one.
void ExportsWorld::ScanSmb(Pieces& pieces) {
    if (nextFrame_ == conversation_.size()) {
        Pieces own(pieces.Take(pieces.Byte()));
        conversation_ = TakeSmbConversation(own);
        nextFrame_ = 0;
    }
    if (conversation_.empty()) return;
    MadeSmbFrame& made = conversation_[nextFrame_++];
    made.bytes.MayBreak(pieces);
    const ExactBlock frame(made.bytes.All());
    CallersRecord<SmbScanResult> result;
    const std::uint8_t isValid = WSScanSMBPacket(frame.View().data(), static_cast<std::uint32_t>(frame.View().size()),
                                                 made.isInbound ? 1 : 0, result.Get());
    Require(isValid <= 1 && std::ranges::equal(frame.View(), made.bytes.All()), "the frame stays as it is");
    if (frame.View().empty()) {
        Require(isValid == 0 && result.IsUnwritten(0), "without a frame nothing is written");
        return;
    }
    if (result->resultKind == TARN_SMB_FILE_EVENT) {
        Require(isValid == 1 && result->eventClass == TARN_SMB_FILE_EVENT_CLASS, "a file is reported with success");
        Require(IsTerminated<char16_t>(&result->sharePath, sizeof result->sharePath) &&
                    IsTerminated<char16_t>(&result->fileName, sizeof result->fileName),
                "the texts of a file are terminated");
        return;
    }
    Require(result->resultKind == TARN_SMB_NOTHING && result.IsUnwritten(sizeof result->resultKind),
            "without a file only the kind is written");
}

// Whole headers, as the host has to hand them over.
void ExportsWorld::Drop(Pieces& pieces) {
    constexpr std::size_t kHeaders = 14 + 60 + 4;
    MarkedBytes made;
    PutFrame(TakeFramePlan(pieces), made);
    made.MayBreak(pieces);
    ByteList bytes = made.All();
    bytes.resize(std::max(bytes.size(), kHeaders));
    const ExactBlock frame(bytes);
    const std::size_t before = machine_.bare.tcpRows.size();
    const bool isDropped = WSDropConnection(frame.View().data()) == 1;
    Require(machine_.bare.tcpRows.size() == before + (isDropped ? 1 : 0), "a connection is dropped at the system");
    Require(isDropped == (bytes[23] == 6), "a connection of TCP is dropped, and no other");
    Require(WSDropConnection(nullptr) == 0, "without a frame nothing is dropped");
}

void ExportsWorld::BlockAddress(Pieces& pieces) {
    IdsBlockRequest request{};
    const Bytes host = pieces.Take(pieces.Byte());
    std::ranges::copy(host, request.hostName);
    const Bytes text = pieces.Take(pieces.Byte());
    std::ranges::copy(text, request.requestText);
    CallersRecord<IdsBlockRequest> asked;
    asked.Set(request);
    const std::size_t before = library_->idsBlockedList.Size();
    Require(WSAddURLToIDSBlockedList(asked.Get()) == 1 && asked.Is(request), "an address is taken as it stands");
    Require(library_->idsBlockedList.Size() <= before + 1, "a request adds at most one address");
    Require(WSAddURLToIDSBlockedList(nullptr) == 0, "without a request nothing is added");
}

void ExportsWorld::LogOn(Pieces& pieces) {
    const std::uint8_t choice = pieces.Byte();
    LogonEvent event{};
    event.eventCode = choice % 12;
    event.sessionId = choice >> 4;
    event.accountTag = pieces.Byte();
    ModuleRecords::PutSid(choice >> 6, event.sid);
    if (choice % 16 == 13) std::ranges::copy(pieces.Take(pieces.Byte() % 65U), event.sid);
    for (std::size_t i = 0; const std::uint8_t byte : pieces.Take(pieces.Byte()))
        event.userName[i++] = static_cast<char16_t>(byte);
    CallersRecord<LogonEvent> told;
    told.Set(event);
    CallersRecord<LogonVerdict> verdict;
    const std::uint8_t result = WSScanLogonEventForPCCTRL(told.Get(), verdict.Get());
    Require(result <= 1 && told.Is(event), "an event stays as it is");
    Require(verdict->reason == TARN_REASON_PARENTAL_CONTROL && verdict->sessionId == event.sessionId,
            "the verdict is one of parental control, for that session");
    if (verdict->action == TARN_ALLOW) {
        Require(verdict.IsUnwritten(offsetof(LogonVerdict, reserved8), offsetof(LogonVerdict, sessionId)) &&
                    verdict.IsUnwritten(offsetof(LogonVerdict, sid)),
                "who may log on gets no texts");
        return;
    }
    Require(result == 1 && verdict->action == TARN_BLOCK && !isOff_, "a logon is refused by its settings alone");
    Require(std::memcmp(verdict->sid, event.sid, sizeof event.sid) == 0, "the account that is refused is the one");
    Require(IsTerminated<char16_t>(&verdict->userName, sizeof verdict->userName), "the name is terminated");
}

}  // namespace tarn::fuzz
