// A library that answers as a test tells it, and an environment that hands it out.
#ifndef TARN_TESTS_HOST_FAKE_ENVIRONMENT_H
#define TARN_TESTS_HOST_FAKE_ENVIRONMENT_H

#include <cstring>
#include <functional>
#include <map>
#include <memory>
#include <nlohmann/json.hpp>
#include <span>
#include <sstream>
#include <string>
#include <vector>

#include "host/command_line.h"

namespace tarn::host {

struct ScannedUrl {
    std::uint8_t kind = 0;
    std::string data;
    Endpoint server;
};

struct ScannedPacket {
    std::vector<std::uint8_t> frame;
    std::uint16_t rule = 0;
    bool inbound = false;
};

class FakeLibrary : public Judge {
 public:
    Judgement ScanUrl(std::uint8_t kind, base::Bytes data, const Endpoint& server) override {
        scanned.push_back({kind, {data.begin(), data.end()}, server});
        return answer;
    }

    PacketVerdict ScanPacket(base::Bytes frame, std::uint16_t rule, bool inbound) override {
        packets.push_back({{frame.begin(), frame.end()}, rule, inbound});
        return onPacket(packets.size());
    }
    std::optional<SmbScanResult> ScanSmb(base::Bytes, bool inbound) override {
        smbInbound.push_back(inbound);
        return onSmb(smbInbound.size());
    }
    bool DropConnection(base::Bytes frame) override {
        dropped.emplace_back(frame.begin(), frame.end());
        return canDrop;
    }
    void BlockAddress(const std::string& host, const std::string& path) override {
        blockedAddresses.push_back(host + " " + path);
    }

    std::vector<ScannedUrl> scanned;
    Judgement answer = Allowed();
    std::vector<ScannedPacket> packets;
    std::vector<bool> smbInbound;
    std::vector<std::vector<std::uint8_t>> dropped;
    std::vector<std::string> blockedAddresses;
    bool canDrop = true;
    // What is said to the frame of that number, from 1 on.
    std::function<PacketVerdict(std::size_t)> onPacket = [](std::size_t) { return Harmless(); };
    std::function<std::optional<SmbScanResult>(std::size_t)> onSmb = [](std::size_t) { return std::nullopt; };

    static PacketVerdict Harmless() {
        PacketVerdict verdict{};
        verdict.action = TARN_PACKET_ALLOW;
        return verdict;
    }

    static Judgement Allowed() {
        Judgement judgement;
        judgement.isValid = true;
        judgement.verdict.allow = TARN_ALLOW;
        judgement.verdict.reason = TARN_REASON_DEFAULT;
        return judgement;
    }
    static Judgement Malicious(const char* name, const char* url) {
        Judgement judgement = Allowed();
        judgement.verdict.allow = TARN_BLOCK;
        judgement.verdict.reason = TARN_REASON_MALICIOUS;
        std::strncpy(judgement.verdict.text.threat.name, name, 49);
        std::strncpy(judgement.verdict.text.threat.url, url, TARN_URL_CAPACITY - 1);
        return judgement;
    }
};

// Hands the library of a test on to the commands, which own what they get.
class LentLibrary : public Judge {
 public:
    explicit LentLibrary(FakeLibrary& library) : library_(library) {}
    Judgement ScanUrl(std::uint8_t kind, base::Bytes data, const Endpoint& server) override {
        return library_.ScanUrl(kind, data, server);
    }
    PacketVerdict ScanPacket(base::Bytes frame, std::uint16_t rule, bool inbound) override {
        return library_.ScanPacket(frame, rule, inbound);
    }
    std::optional<SmbScanResult> ScanSmb(base::Bytes frame, bool inbound) override {
        return library_.ScanSmb(frame, inbound);
    }
    bool DropConnection(base::Bytes frame) override { return library_.DropConnection(frame); }
    void BlockAddress(const std::string& host, const std::string& path) override { library_.BlockAddress(host, path); }

 private:
    FakeLibrary& library_;
};

// Standard input that never keeps anybody waiting.
class InputSignals : public WatchSignals {
 public:
    InputSignals(const Environment& environment, std::istream& input) : environment_(environment), input_(input) {}
    Signal Next(bool, bool) override { return environment_.IsInterrupted() ? Signal::kStop : Signal::kInput; }
    std::size_t ReadInput(std::span<char> buffer) override {
        input_.read(buffer.data(), static_cast<std::streamsize>(buffer.size()));
        return static_cast<std::size_t>(input_.gcount());
    }

 private:
    const Environment& environment_;
    std::istream& input_;
};

class FakeEnvironment : public Environment {
 public:
    std::unique_ptr<Judge> OpenLibrary(const LibraryOptions& options, std::string& mistake) override {
        opened.push_back(options);
        mistake = whyNot;
        if (!whyNot.empty()) return nullptr;
        return std::make_unique<LentLibrary>(library);
    }
    [[nodiscard]] std::string OwnFolder() const override { return ownFolder; }
    [[nodiscard]] bool IsOutputTerminal() const override { return isTerminal; }
    [[nodiscard]] bool IsErrorTerminal() const override { return false; }
    [[nodiscard]] std::size_t TerminalColumns() const override { return columns; }
    [[nodiscard]] std::string Variable(const char* name) const override {
        const auto found = variables.find(name);
        return found == variables.end() ? std::string() : found->second;
    }
    std::unique_ptr<WatchSignals> Watch(const std::string&, bool, std::string&) override {
        return std::make_unique<InputSignals>(*this, input);
    }
    [[nodiscard]] bool IsInterrupted() const override { return library.scanned.size() >= interruptedAfter; }
    [[nodiscard]] std::optional<std::string> AsciiHost(const std::string& utf8) const override {
        return utf8 == "b\xc3\xbc"
                       "cher.example"
                   ? std::optional<std::string>("xn--bcher-kva.example")
                   : std::nullopt;
    }

    FakeLibrary library;
    std::vector<LibraryOptions> opened;
    std::string whyNot;
    std::string ownFolder = "nowhere/";
    bool isTerminal = false;
    std::size_t columns = 0;  // of the terminal
    std::map<std::string, std::string> variables;
    std::istringstream input;
    std::size_t interruptedAfter = static_cast<std::size_t>(-1);  // URL scans; then Ctrl+C is pressed
};

// One run of the command line.
struct Ran {
    int code = 0;
    std::string out;
    std::string errors;
};
inline Ran RunWith(FakeEnvironment& environment, std::vector<std::string> arguments) {
    std::ostringstream out;
    std::ostringstream errors;
    const int code = RunCommandLine(std::move(arguments), environment, out, errors);
    return {code, out.str(), errors.str()};
}

// The lines of JSON output; a line that is no object ends the list with null.
inline std::vector<nlohmann::json> JsonLines(const std::string& text) {
    std::vector<nlohmann::json> lines;
    std::istringstream input(text);
    for (std::string line; std::getline(input, line);) {
        lines.push_back(nlohmann::json::parse(line, nullptr, false));
        if (!lines.back().is_object()) lines.back() = nullptr;
    }
    return lines;
}

// Of that type alone.
inline std::vector<nlohmann::json> Events(const Ran& run, const char* type) {
    std::vector<nlohmann::json> kept;
    for (const auto& line : JsonLines(run.out))
        if (line["type"] == type) kept.push_back(line);
    return kept;
}

}  // namespace tarn::host

#endif
