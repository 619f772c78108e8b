#include "model/driver/calls_win32.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <map>
#include <optional>
#include <stdexcept>

#include "tarn/tarn.h"

namespace tarn::model {
namespace {

constexpr std::uint8_t kPattern = 0xCD;  // what the caller's records are full of
constexpr std::uint8_t kSpare = 0xAB;    // behind the data

template <class Record>
class Filled {
 public:
    Filled() { std::memset(static_cast<void*>(&record_), kPattern, sizeof record_); }
    Record* Out(bool isNull) { return isNull ? nullptr : &record_; }
    [[nodiscard]] std::string Changes() const {
        std::array<std::uint8_t, sizeof(Record)> before;
        before.fill(kPattern);
        return ChangesOf(reinterpret_cast<const std::uint8_t*>(&record_), before.data(), before.size());
    }

 private:
    Record record_;
};

using Exports = system_test::Exports;

// A number, or "null".
struct Cell {
    explicit Cell(Line& line) {
        const std::string word = line.Word();
        if (word != "null") value = static_cast<std::uint32_t>(std::stoul(word));
    }
    std::uint32_t* Out() { return value ? &*value : nullptr; }
    [[nodiscard]] std::string Text() const { return value ? std::to_string(*value) : "null"; }
    std::optional<std::uint32_t> value;
};

bool Has(const std::string& nulls, char argument) {
    return nulls.find(argument) != std::string::npos;
}

std::string Init(Line& line, const Exports& tarn) {
    const auto mode = static_cast<std::uint8_t>(line.Number());
    Cell cell(line);
    const int result = tarn.WSInit(mode, cell.Out());
    return std::to_string(result) + " cell=" + cell.Text();
}

std::string Deinit(Line& line, const Exports& tarn) {
    Cell cell(line);
    const int result = tarn.WSDeinit(cell.Out());
    return std::to_string(result) + " cell=" + cell.Text();
}

std::string ShutDown(Line& line, const Exports& tarn) {
    std::uint64_t passed[4];
    for (std::uint64_t& value : passed) value = line.Number();
    tarn.WSShutDown(passed[0], passed[1], passed[2], passed[3]);
    return "0";
}

std::string SettingsChanged(Line& line, const Exports& tarn) {
    const auto kind = static_cast<std::uint32_t>(line.Number());
    std::uint64_t passed[3];
    for (std::uint64_t& value : passed) value = line.Number();
    return std::to_string(tarn.WSSettingsChanged(kind, passed[0], passed[1], passed[2]));
}

std::string UpdateSettingsChanged(Line& line, const Exports& tarn) {
    Cell mask(line);
    const int result = tarn.WSUpdateSettingsChanged(mask.Out());
    return std::to_string(result) + " mask=" + mask.Text();
}

// PID DATA ADDRESS PORT STOP KIND NULLS; the data's length is its own, or 0 for "z" among the nulls.
std::string Scan(Line& line, decltype(Exports::WSScanUrl) scan) {
    ScanRequest request;
    std::memset(static_cast<void*>(&request), kPattern, sizeof request);
    const std::string process = line.Word();
    request.processId = process == "self" ? GetCurrentProcessId() : static_cast<std::uint32_t>(std::stoul(process));
    const Bytes data = line.Hex();
    Bytes buffer = data;
    buffer.push_back(kSpare);
    const Bytes before = buffer;
    const Bytes address = line.Hex();
    if (address.size() != sizeof request.remoteAddress) throw std::runtime_error("an address has 17 bytes");
    std::memcpy(static_cast<void*>(&request.remoteAddress), address.data(), address.size());
    request.remotePort = static_cast<std::uint16_t>(line.Number());
    request.stopBeforeCategories = static_cast<std::uint8_t>(line.Number());
    request.kind = static_cast<std::uint8_t>(line.Number());
    const std::string nulls = line.Word();
    request.data = Has(nulls, 'd') ? nullptr : buffer.data();
    request.dataLength = Has(nulls, 'z') ? 0 : static_cast<std::uint32_t>(data.size());
    Filled<UrlVerdict> verdict;
    Filled<PromptBytes> prompt;
    const int result =
        scan(Has(nulls, 'r') ? nullptr : &request, verdict.Out(Has(nulls, 'v')), prompt.Out(Has(nulls, 'p')));
    return std::to_string(result) + " verdict=" + verdict.Changes() + " prompt=" + prompt.Changes() +
           " data=" + ChangesOf(buffer.data(), before.data(), buffer.size());
}

std::string ScanUrl(Line& line, const Exports& tarn) {
    return Scan(line, tarn.WSScanUrl);
}

std::string WebExtScanUrl(Line& line, const Exports& tarn) {
    return Scan(line, tarn.WSWebExtScanUrl);
}

std::string FeatureStatus(Line& line, const Exports& tarn) {
    Filled<std::uint8_t> status;
    const int result = tarn.WSGetUrlScanFeatureStatus(status.Out(line.Word() == "s"));
    return std::to_string(result) + " status=" + status.Changes();
}

// FRAME RULE INBOUND NULLS; the frame stands at the end of its block, without a byte behind it.
std::string ScanPacket(Line& line, const Exports& tarn) {
    Bytes frame = line.Hex();
    frame.shrink_to_fit();
    const auto ruleId = static_cast<std::uint16_t>(line.Number());
    const auto inbound = static_cast<std::uint8_t>(line.Number());
    const std::string nulls = line.Word();
    Filled<PacketVerdict> verdict;
    const int result = tarn.WSScanPacket(Has(nulls, 'f') ? nullptr : frame.data(),
                                         Has(nulls, 'z') ? 0 : static_cast<std::uint32_t>(frame.size()), ruleId,
                                         inbound, 0, verdict.Out(Has(nulls, 'v')));
    return std::to_string(result) + " verdict=" + verdict.Changes();
}

std::string ScanSmbPacket(Line& line, const Exports& tarn) {
    Bytes frame = line.Hex();
    frame.shrink_to_fit();
    const auto direction = static_cast<std::uint8_t>(line.Number());
    const std::string nulls = line.Word();
    Filled<SmbScanResult> found;
    const int result = tarn.WSScanSMBPacket(Has(nulls, 'f') ? nullptr : frame.data(),
                                            Has(nulls, 'z') ? 0 : static_cast<std::uint32_t>(frame.size()), direction,
                                            found.Out(Has(nulls, 'v')));
    return std::to_string(result) + " found=" + found.Changes();
}

std::string DropConnection(Line& line, const Exports& tarn) {
    const Bytes frame = line.Hex();
    return std::to_string(tarn.WSDropConnection(frame.empty() ? nullptr : frame.data()));
}

template <class Record>
Record RecordOf(const Bytes& bytes) {
    if (bytes.size() != sizeof(Record)) throw std::runtime_error("a record has another size");
    Record record;
    std::memcpy(static_cast<void*>(&record), bytes.data(), sizeof record);
    return record;
}

// HOST TEXT: the two fields as they stand, or "null null".
std::string AddUrl(Line& line, const Exports& tarn) {
    const std::string host = line.Word();
    const std::string text = line.Word();
    if (host == "null") return std::to_string(tarn.WSAddURLToIDSBlockedList(nullptr));
    IdsBlockRequest request;
    std::memset(static_cast<void*>(&request), kPattern, sizeof request);
    const Bytes hostBytes = Line(host).Hex();
    const Bytes textBytes = Line(text).Hex();
    if (hostBytes.size() > sizeof request.hostName || textBytes.size() > sizeof request.requestText)
        throw std::runtime_error("a text does not fit");
    std::memset(request.hostName, 0, sizeof request.hostName);
    std::memset(request.requestText, 0, sizeof request.requestText);
    std::copy(hostBytes.begin(), hostBytes.end(), request.hostName);
    std::copy(textBytes.begin(), textBytes.end(), request.requestText);
    return std::to_string(tarn.WSAddURLToIDSBlockedList(&request));
}

std::string ScanLogonEvent(Line& line, const Exports& tarn) {
    const LogonEvent event = RecordOf<LogonEvent>(line.Hex());
    const std::string nulls = line.Word();
    Filled<LogonVerdict> verdict;
    const int result = tarn.WSScanLogonEventForPCCTRL(Has(nulls, 'e') ? nullptr : &event, verdict.Out(Has(nulls, 'v')));
    return std::to_string(result) + " verdict=" + verdict.Changes();
}

using Caller = std::string (*)(Line&, const Exports&);
const std::map<std::string, Caller> kCalls = {
    {"WSInit", Init},
    {"WSDeinit", Deinit},
    {"WSShutDown", ShutDown},
    {"WSSettingsChanged", SettingsChanged},
    {"WSUpdateSettingsChanged", UpdateSettingsChanged},
    {"WSScanUrl", ScanUrl},
    {"WSWebExtScanUrl", WebExtScanUrl},
    {"WSGetUrlScanFeatureStatus", FeatureStatus},
    {"WSScanPacket", ScanPacket},
    {"WSDropConnection", DropConnection},
    {"WSAddURLToIDSBlockedList", AddUrl},
    {"WSScanLogonEventForPCCTRL", ScanLogonEvent},
    {"WSScanSMBPacket", ScanSmbPacket},
};

}  // namespace

std::string Call(const std::string& name, Line& line, Machine& machine) {
    const auto found = kCalls.find(name);
    if (found == kCalls.end()) throw std::runtime_error("there is no call " + name);
    return found->second(line, machine.Library());
}

}  // namespace tarn::model
