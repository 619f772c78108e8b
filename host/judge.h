// What tarnhost asks the library for, so that everything but the loading can be tested without it.
// loaded_library_win32.cpp answers with the real tarn.dll.
#ifndef TARN_HOST_JUDGE_H
#define TARN_HOST_JUDGE_H

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "tarn/records.h"

#include "base/byte_reader.h"
#include "host/capture/transport_view.h"

namespace tarn::host {

struct Judgement {
    bool isValid = false;  // the scan's own result: whether the verdict says anything
    UrlVerdict verdict{};
    PromptBytes prompt{};
};

class Judge {
 public:
    virtual ~Judge() = default;
    // The bytes that a client of this machine sent to server (with port 53: that server sent).
    virtual Judgement ScanUrl(std::uint8_t kind, base::Bytes data, const Endpoint& server) = 0;
    // One Ethernet frame, with the number of the rule whose texts an attack gets.
    virtual PacketVerdict ScanPacket(base::Bytes frame, std::uint16_t rule, bool inbound) = 0;
    // The file event that the frame reports, if any.
    virtual std::optional<SmbScanResult> ScanSmb(base::Bytes frame, bool inbound) = 0;
    // Resets the connection of a frame that this machine sends. The bytes must reach behind the ports: there is no
    // length that the library could test.
    virtual bool DropConnection(base::Bytes frame) = 0;
    // Condemns a web address: from now on a request for it is blocked.
    virtual void BlockAddress(const std::string& host, const std::string& path) = 0;
};

struct LibraryOptions {
    std::string installFolder;  // empty: the one that the registry names, else the one that tarnhost stands in
    std::uint8_t mode = 1;      // of WSInit
    bool verbose = false;       // say on stderr what is loaded from where
};

// The world around the commands.
class Environment {
 public:
    virtual ~Environment() = default;
    // The library, ready for scans; null with the reason and what to do about it in mistake.
    virtual std::unique_ptr<Judge> OpenLibrary(const LibraryOptions& options, std::string& mistake) = 0;
    // With the separator at its end.
    [[nodiscard]] virtual std::string OwnFolder() const = 0;
    [[nodiscard]] virtual bool IsOutputTerminal() const = 0;
    [[nodiscard]] virtual bool IsErrorTerminal() const = 0;
};

}  // namespace tarn::host

#endif
