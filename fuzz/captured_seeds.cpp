#include "captured_seeds.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <nlohmann/json.hpp>
#include <set>

#include "host/capture/capture_reader.h"
#include "host/capture/transport_view.h"
#include "support/project_files.h"

namespace tarn::fuzz {
namespace {

constexpr std::size_t kMostPayload = 2100;  // a little more than the scans look at
constexpr std::size_t kMostConversation = 6000;
constexpr std::uint16_t kSmbPort = 445;

std::string InCaptures(const std::string& name) {
    return CaptureFileOf(name);
}

std::uint8_t DigitOf(char c) {
    return static_cast<std::uint8_t>(c <= '9' ? c - '0' : c - 'a' + 10);
}

ByteList FromHex(const std::string& hex) {
    ByteList bytes;
    for (std::size_t i = 0; i + 1 < hex.size(); i += 2)
        bytes.push_back(static_cast<std::uint8_t>(DigitOf(hex[i]) << 4 | DigitOf(hex[i + 1])));
    return bytes;
}

void PutNumber(ByteList& out, std::size_t number, int bytes) {
    for (int i = 0; i < bytes; ++i) out.push_back(static_cast<std::uint8_t>(number >> (8 * i) & 0xFF));
}

template <class Use>
void ForEachFrame(const std::string& path, Use use) {
    std::ifstream input(path, std::ios::binary);
    host::CaptureReader reader(input);
    host::CapturedFrame frame;
    while (reader.Next(frame)) use(frame.bytes);
    Require(reader.Error().empty() && reader.FrameCount() != 0, "the bundled captures can be read");
}

bool IsSmb(const ByteList& frame) {
    const auto view = host::ViewTransport(frame);
    return view && view->isTcp && !view->payload.empty() &&
           (view->source.port == kSmbPort || view->destination.port == kSmbPort);
}

// Block type, length, content, length.
void PutBlock(ByteList& out, std::size_t type, ByteList content) {
    while (content.size() % 4 != 0) content.push_back(0);
    PutNumber(out, type, 4);
    PutNumber(out, content.size() + 12, 4);
    out.insert(out.end(), content.begin(), content.end());
    PutNumber(out, content.size() + 12, 4);
}

ByteList AsPcapng(const std::vector<ByteList>& frames) {
    ByteList file;
    PutBlock(file, 0x0A0D0D0A, {0x4D, 0x3C, 0x2B, 0x1A, 1, 0, 0, 0, 255, 255, 255, 255, 255, 255, 255, 255});
    PutBlock(file, 1, {1, 0, 0, 0, 0, 0, 4, 0, 9, 0, 1, 0, 9, 0, 0, 0, 0, 0, 0, 0});  // Ethernet, nanoseconds
    for (std::size_t i = 0; i < frames.size(); ++i) {
        ByteList packet;
        const bool isSimple = i % 4 == 3;
        if (!isSimple) packet.resize(12);  // interface and time
        if (!isSimple) PutNumber(packet, frames[i].size(), 4);
        PutNumber(packet, frames[i].size(), 4);
        packet.insert(packet.end(), frames[i].begin(), frames[i].end());
        PutBlock(file, isSimple ? 3 : 6, std::move(packet));
    }
    return file;
}

}  // namespace

ByteList ReadWholeFile(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    ByteList bytes{std::istreambuf_iterator<char>(file), {}};
    Require(!bytes.empty(), "a file of seeds can be read");
    return bytes;
}

std::vector<ByteList> PayloadsOf(std::string_view kind, std::size_t step) {
    std::set<ByteList> different;
    std::vector<ByteList> payloads;
    std::size_t count = 0;
    for (const char* file : {"first_payloads.jsonl", "later_payloads.jsonl", "other_first_payloads.jsonl"}) {
        std::ifstream input(InCaptures(file));
        for (std::string line; std::getline(input, line);) {
            const auto part = nlohmann::json::parse(line);
            const std::string itsKind = part["kind"];
            if (itsKind != kind && (itsKind != "other" || kind != "http")) continue;
            ByteList bytes = FromHex(part["payload_hex"]);
            bytes.resize(std::min(bytes.size(), kMostPayload));
            if (different.insert(bytes).second && count++ % step == 0) payloads.push_back(std::move(bytes));
        }
    }
    Require(!payloads.empty(), "the bundled payloads can be read");
    return payloads;
}

std::vector<ByteList> FramesOf(const std::string& capture, std::size_t step) {
    std::vector<ByteList> frames;
    std::size_t count = 0;
    ForEachFrame(InCaptures(capture), [&](const ByteList& frame) {
        if (count++ % step == 0) frames.push_back(frame);
    });
    return frames;
}

std::vector<ByteList> SmbConversations() {
    std::vector<ByteList> conversations;
    for (const char* capture : {"smb1_smbclient_basic", "smb1_smbclient_names", "smb1_multi_tree", "smb2_202_smbclient",
                                "smb2_names", "smb2_compound", "smb2_311_smbclient"}) {
        ByteList conversation;
        ForEachFrame(InCaptures(std::string(capture) + ".pcap"), [&](const ByteList& frame) {
            if (!IsSmb(frame)) return;
            conversation.push_back(1);
            PutNumber(conversation, frame.size(), 2);
            conversation.insert(conversation.end(), frame.begin(), frame.end());
            if (conversation.size() < kMostConversation) return;
            conversations.push_back(std::move(conversation));
            conversation.clear();
        });
        if (!conversation.empty()) conversations.push_back(std::move(conversation));
    }
    return conversations;
}

std::vector<ByteList> CaptureFiles() {
    std::vector<ByteList> files;
    for (const char* capture : {"ftp_pipelined_control.pcap", "smb1_port139.pcap", "dns_basic.pcap"}) {
        files.push_back(ReadWholeFile(InCaptures(capture)));
        files.back().resize(std::min(files.back().size(), std::size_t{4000}));
    }
    std::vector<ByteList> frames = FramesOf("mixed_small.pcap", 30);
    frames.resize(std::min(frames.size(), std::size_t{12}));
    files.push_back(AsPcapng(frames));
    return files;
}

}  // namespace tarn::fuzz
