// What tarnhost asks the library for, so that everything but the loading can be tested without it.
// loaded_library_win32.cpp answers with the real tarn.dll.
#ifndef TARN_HOST_JUDGE_H
#define TARN_HOST_JUDGE_H

#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "tarn/companions.h"
#include "tarn/records.h"
#include "tarn/values.h"

#include "base/byte_reader.h"
#include "host/account.h"
#include "host/capture/transport_view.h"
#include "host/companion_kit/finding.h"
#include "host/watch_signals.h"

namespace tarn::host {

struct CallLatencies;  // timed_judge.h

struct Judgement {
    bool isValid = false;  // the scan's own result: whether the verdict says anything
    UrlVerdict verdict{};
    PromptBytes prompt{};
};

// What a client of this machine sent first on a connection that is still open.
struct ConnectionData {
    std::uint8_t kind = 0;
    base::Bytes data;
    Endpoint client;
    Endpoint server;
    std::uint32_t processId = 0;  // of the client; 0 = not known
};

struct LogonJudgement {
    bool isValid = false;
    LogonVerdict verdict{};
};

// The calls of single commands have a default: whoever stands in for the library answers only what is asked of it.
class Judge {
 public:
    virtual ~Judge() = default;
    // The bytes that a client of this machine sent to server (with port 53: that server sent).
    virtual Judgement ScanUrl(std::uint8_t kind, base::Bytes data, const Endpoint& server) = 0;
    // The same of a real connection, whose client is another program. Any number of threads at once.
    virtual Judgement ScanConnection(const ConnectionData& connection) {
        return ScanUrl(connection.kind, connection.data, connection.server);
    }
    // One Ethernet frame, with the number of the rule whose texts an attack gets.
    virtual PacketVerdict ScanPacket(base::Bytes frame, std::uint16_t rule, bool inbound) = 0;
    // The file event that the frame reports, if any.
    virtual std::optional<SmbScanResult> ScanSmb(base::Bytes frame, bool inbound) = 0;
    // Resets the connection of a frame that this machine sends. The bytes must reach behind the ports: there is no
    // length that the library could test.
    virtual bool DropConnection(base::Bytes frame) = 0;
    // Has a web address blocked from now on.
    virtual void BlockAddress(const std::string& host, const std::string& path) = 0;
    // A whole URL, as a browser's extension reports it. Any number of threads at once.
    virtual Judgement ScanExtensionUrl(std::uint8_t /*kind*/, const std::string& /*url*/) { return {}; }
    virtual LogonJudgement ScanLogonEvent(const LogonEvent& /*event*/) { return {}; }
    // From now on the library takes it to be that time.
    virtual void SetClock(const TarnSystemTime& /*now*/) {}
    // The two notices of changed settings: one kind, or a mask of updated files.
    virtual bool SettingsChanged(std::uint32_t /*kind*/) { return false; }
    virtual bool UpdateSettingsChanged(std::uint32_t /*mask*/) { return false; }
    // Nanoseconds of the last scan, and those of all scans; nothing where they are not measured.
    [[nodiscard]] virtual std::optional<std::uint64_t> LastLatency() const { return std::nullopt; }
    [[nodiscard]] virtual const CallLatencies* Latencies() const { return nullptr; }
};

struct LibraryOptions {
    std::string installFolder;  // empty: the one that the registry names, else the one that tarnhost stands in
    std::string policyFile;     // empty: the one in the folder of the modules
    std::string keepState;      // folder of what the modules save; empty: one of this run alone, removed at its end
    std::uint8_t mode = TARN_START_RESTART;  // of WSInit
    bool verbose = false;                    // say on stderr what is loaded from where
    bool judgesUrls = true;                  // say on stderr when the settings switch URL scanning off
    bool warnsOfPolicy = true;               // the modules say on stderr what is wrong with the policy
    std::optional<TarnSystemTime> clock;     // what time the library takes it to be; empty: the machine's
};

inline constexpr const char* kUserListResetFile = "tarn-user-list-reset.bin";  // of the reference modules

// What the modules saved in an earlier run.
struct SavedState {
    std::size_t answers = 0;   // of DNS
    std::size_t sessions = 0;  // of accounts
    bool isUserListReset = false;
};

// The world around the commands.
class Environment {
 public:
    virtual ~Environment() = default;
    // Has the modules save their state where the options say, and tells what stands there. Before OpenLibrary, when no
    // library is open.
    virtual bool UseState(const LibraryOptions& /*options*/, SavedState& /*found*/, std::string& /*mistake*/) {
        return true;
    }
    // The library, ready for scans; null with the reason and what to do about it in mistake.
    virtual std::unique_ptr<Judge> OpenLibrary(const LibraryOptions& options, std::string& mistake) = 0;
    // With the separator at its end.
    [[nodiscard]] virtual std::string OwnFolder() const = 0;
    [[nodiscard]] virtual bool IsOutputTerminal() const = 0;
    [[nodiscard]] virtual bool IsErrorTerminal() const = 0;
    // How wide the terminal of the output is; 0 when that is not known.
    [[nodiscard]] virtual std::size_t TerminalColumns() const { return 0; }
    // An environment variable; empty when it is not set.
    [[nodiscard]] virtual std::string Variable(const char* /*name*/) const { return {}; }
    // Whether Ctrl+C was pressed; from then on always.
    [[nodiscard]] virtual bool IsInterrupted() const { return false; }
    // What to say when the output could not be written.
    [[nodiscard]] virtual std::string OutputMistake() const {
        return "the output is not complete: it cannot be written";
    }
    // An international host name in the form that is sent; nothing when it has none.
    [[nodiscard]] virtual std::optional<std::string> AsciiHost(const std::string& /*utf8*/) const {
        return std::nullopt;
    }

    // Of single commands, with defaults as above.
    // The folder of the companion modules that OpenLibrary takes, with the separator at its end.
    [[nodiscard]] virtual std::string InstallFolder(const LibraryOptions& /*options*/) const { return OwnFolder(); }
    // An account of this machine; an empty name means the one that tarnhost runs as. False when there is none.
    virtual bool FindAccount(const std::string& /*name*/, Account& /*account*/) { return false; }
    [[nodiscard]] virtual TarnSystemTime LocalTime() const { return {}; }
    // The local time of a moment (since 1970), by the machine's time zone.
    [[nodiscard]] virtual std::optional<TarnSystemTime> LocalTimeOf(std::uint64_t /*nanoseconds*/) const {
        return std::nullopt;
    }
    // The session records that the settings modules keep between two runs of the library, for when none runs.
    virtual std::vector<SavedSessionRecord> ReadSavedSessions(const LibraryOptions& /*options*/) { return {}; }
    // Signals changes of files in folder (of none when it is empty), Ctrl+C, and what comes from standard input if that
    // is wanted; null with the reason in mistake.
    virtual std::unique_ptr<WatchSignals> Watch(const std::string& /*folder*/, bool /*wantsInput*/,
                                                std::string& mistake) {
        mistake = "nothing can be watched here";
        return nullptr;
    }
    // Has the reference modules that this process or one of its children loads read the policy of the options.
    virtual void UsePolicy(const LibraryOptions& /*options*/) {}
    // Checks a companion module in a process of its own, which may crash or hang.
    virtual std::vector<CompanionFinding> CheckCompanion(const CompanionCheck& check) {
        return {{check.module, "", "cannot be checked here", "nothing is known about it", false}};
    }
    // The command serve as a service of the system. False with the reason.
    virtual bool InstallService(std::string& mistake) {
        mistake = "there are no services here";
        return false;
    }
    virtual bool RemoveService(std::string& mistake) { return InstallService(mistake); }
    // The command does now what it was started for.
    virtual void TellServing() {}
    // Until the time is over.
    virtual void Pause(std::chrono::milliseconds time) { std::this_thread::sleep_for(time); }
};

}  // namespace tarn::host

#endif
