// The modules that are read: settings, statuses, and the two that are loaded for one question.
#include <algorithm>
#include <array>
#include <chrono>
#include <iterator>
#include <vector>

#include "host/companion_kit/probe.h"

namespace tarn::host {

namespace {

constexpr const char* kReadFails = "the feature stays off, or the list empty";

template <class Record>
RecordFindings CheckAnything(const Record&, const RecordMemory&) {
    return {};
}
template <class Record>
RecordFindings CheckLists(const Record& record, const RecordMemory& memory) {
    return CheckRecord(record, memory);
}

// One read function, with what it writes checked. False notes that the module refused.
template <class Record, class Read, class Check>
bool ReadOnce(const Probe& probe, const char* name, Read read, Check check, GuardedRecord<Record>& record) {
    std::uint32_t error = 0;
    const bool isRead = probe.Call(name, [&] { return read(0, record.Get(), &error) != 0; });
    record.FindOverrun(probe, name);
    if (isRead)
        probe.Find(name, check(*record, probe.World()));
    else
        probe.Note(name, fmt::format("says no, with error {}", error), kReadFails);
    return isRead;
}

// A round without any check, for counting what stays behind.
template <class Record, class Read, class Release>
void Round(Read read, Release release) {
    Record record;
    std::memset(static_cast<void*>(&record), 0, sizeof record);
    std::uint32_t error = 0;
    if (read(0, &record, &error) != 0) release(&record);
}

// A read function alone, for what has no release.
template <class Record, class Read>
void ReadAlone(const Probe& probe, const char* name, Read read) {
    GuardedRecord<Record> record;
    if (!ReadOnce(probe, name, read, CheckAnything<Record>, record)) return;
    probe.FindLeak(name, [&] {
        std::uint32_t error = 0;
        read(0, record.Get(), &error);
    });
}

template <class Record, class Release>
void ReleaseEmpty(const Probe& probe, const char* name, Release release) {
    GuardedRecord<Record> empty;
    probe.Call(name, [&] {
        release(empty.Get());
        return true;
    });
    empty.FindOverrun(probe, name);
}

template <class Record, class Release>
void ReleaseOnce(const Probe& probe, const char* name, Release release, GuardedRecord<Record>& record) {
    probe.Call(name, [&] {
        release(record.Get());
        return true;
    });
    record.FindOverrun(probe, name);
}

// A record that the library gives back right behind the read.
template <class Record, class Read, class Release, class Check>
void ReadAndRelease(const Probe& probe, const char* readName, Read read, const char* releaseName, Release release,
                    Check check) {
    GuardedRecord<Record> record;
    if (!ReadOnce(probe, readName, read, check, record)) return;
    ReleaseOnce(probe, releaseName, release, record);
    probe.FindLeak(readName, [&] { Round<Record>(read, release); });
}

// A record that the library keeps: a module that was loaded again meanwhile has to take it back, and so has it an empty
// one behind a read that failed. The slots are the module's own, which a reload fills again.
template <class Record, class Read, class Release>
struct KeptList {
    const char* readName;
    Read& read;
    const char* releaseName;
    Release& release;
    GuardedRecord<Record> record{};
    bool isRead = false;

    void Deliver(const Probe& probe) { isRead = ReadOnce(probe, readName, read, CheckLists<Record>, record); }
    void TakeBack(const Probe& probe) {
        if (isRead) ReleaseOnce(probe, releaseName, release, record);
        isRead = false;
        ReleaseEmpty<Record>(probe, releaseName, release);
    }
    void CountRounds(const Probe& probe) {
        probe.FindLeak(readName, [this] { Round<Record>(read, release); });
    }
};
template <class Record, class Read, class Release>
KeptList<Record, Read, Release> Kept(const char* readName, Read& read, const char* releaseName, Release& release) {
    return {readName, read, releaseName, release};
}

#define TARN_NAMED(function) #function, calls.function

void ProbeServerName(const Probe& probe, const StatusReaderCalls& calls) {
    using Name = std::array<char16_t, TARN_HOST_CAPACITY>;
    constexpr const char* kName = "ReadEPSServerIP";
    GuardedRecord<Name> name;
    std::uint32_t error = 0;
    const bool isRead = probe.Call(kName, [&] {
        return calls.ReadEPSServerIP(name.Get()->data(), static_cast<std::uint32_t>((*name).size()), &error) != 0;
    });
    name.FindOverrun(probe, kName);
    if (!isRead)
        probe.Note(kName, fmt::format("says no, with error {}", error), "the management server is judged as any other");
    else if (!EndsInside16((*name).data(), (*name).size()))
        probe.Find(kName, fmt::format("the name has no NUL within {} units", (*name).size()),
                   "no request names such a server: it is judged as any other");
}

void ProbeSavedAnswers(const Probe& probe, StatusReaderCalls& calls) {
    constexpr const char* kWrite = "WriteDNSCacheSettings";
    std::vector<DnsAnswerEntry> slots(TARN_DNS_RING_SLOTS);
    std::uint16_t next = 0;
    std::uint32_t error = 0;
    DnsCacheRecord saved{};
    // The library writes what it read at its start.
    if (calls.ReadDNSCacheSettings(0, &saved, &error) != 0) {
        const DnsAnswerEntry* const entries = saved.entries;
        const std::size_t count = std::min<std::size_t>(saved.count, slots.size());
        if (entries != nullptr && probe.World().Readable(entries, count * sizeof *entries) == count * sizeof *entries)
            std::copy_n(entries, count, slots.begin());
        next = saved.writeIndex;
        calls.ReleaseDNSCacheSettings(&saved);
    }
    const DnsCacheRecord record{TARN_DNS_RING_SLOTS, next, slots.data()};
    if (!probe.Call(kWrite, [&] { return calls.WriteDNSCacheSettings(0, &record, &error) != 0; })) {
        probe.Find(kWrite, fmt::format("says no, with error {}", error), "the saved answers are lost");
        return;
    }
    DnsCacheRecord again{};
    const bool isRead =
        probe.Call("ReadDNSCacheSettings", [&] { return calls.ReadDNSCacheSettings(0, &again, &error) != 0; });
    if (!isRead || again.count != TARN_DNS_RING_SLOTS)
        probe.Find("ReadDNSCacheSettings", "does not give back the slots that were written",
                   "the saved answers are lost at a restart");
    if (isRead) calls.ReleaseDNSCacheSettings(&again);
}

void ProbeSavedSessions(const Probe& probe, StatusReaderCalls& calls) {
    constexpr const char* kWrite = "WritePCSystemControlSettings";
    std::uint32_t error = 0;
    PcSystemControlRecord saved{};
    const bool isRead = calls.ReadPCSystemControlSettings(0, &saved, &error) != 0;
    const PcSystemControlRecord record = isRead ? saved : PcSystemControlRecord{};
    if (!probe.Call(kWrite, [&] { return calls.WritePCSystemControlSettings(0, &record, &error) != 0; }))
        probe.Find(kWrite, fmt::format("says no, with error {}", error), "the times of use are lost");
    if (isRead) calls.ReleasePCSystemControlSettings(&saved);
}

}  // namespace

void Probe::FindLeak(std::string_view function, const std::function<void()>& round) const {
    constexpr int kWarmUp = 16;
    constexpr int kRounds = 50;  // twice: what grows once is no leak
    constexpr std::uint64_t kBothHalves = 2 * std::uint64_t{kRounds};
    constexpr std::chrono::seconds kTime{5};
    HeapUse uses[3];
    const auto end = std::chrono::steady_clock::now() + kTime;
    const auto runs = [&](int rounds) {
        for (int i = 0; i < rounds; ++i) {
            if (std::chrono::steady_clock::now() > end) return false;
            round();
        }
        return true;
    };
    const bool isCounted = Call(fmt::format("{} again and again", function), [&] {
        if (!runs(kWarmUp)) return false;
        uses[0] = world_.Heap();
        for (int half = 1; half <= 2; ++half) {
            if (!runs(kRounds)) return false;
            uses[half] = world_.Heap();
        }
        return true;
    });
    if (!isCounted) {
        Note(function, "is too slow to be called often", "whether it leaves memory behind was not tried");
        return;
    }
    const auto grows = [&](int half) { return uses[half].bytes >= uses[half - 1].bytes + kRounds; };
    if (!grows(1) || !grows(2)) return;
    Find(function,
         fmt::format("leaves {} bytes behind in each round ({} rounds, {} more blocks)",
                     (uses[2].bytes - uses[0].bytes) / kBothHalves, kBothHalves, uses[2].blocks - uses[0].blocks),
         "the host process grows with each change of settings or each scan");
}

void ProbeModule(const Probe& probe, SettingsReaderCalls& calls) {
    auto malicious = Kept<ThreatSiteList>(TARN_NAMED(ReadBPSettings), TARN_NAMED(ReleaseBPSettings));
    auto white = Kept<UrlListRecord>(TARN_NAMED(ReadWSInternalWhiteList), TARN_NAMED(ReleaseWSInternalWhiteList));
    malicious.Deliver(probe);
    GuardedRecord<UrlListRecord> neverGivenBack;
    ReadOnce(probe, TARN_NAMED(ReadBPInternalWhiteList), CheckLists<UrlListRecord>, neverGivenBack);
    white.Deliver(probe);
    ReadAndRelease<PhishingSiteList>(probe, TARN_NAMED(ReadAPSettings), TARN_NAMED(ReleaseAPSettings),
                                     CheckLists<PhishingSiteList>);
    ReadAndRelease<IdsSettingsRecord>(probe, TARN_NAMED(ReadIDSSettings), TARN_NAMED(ReleaseIDSSettings),
                                      CheckLists<IdsSettingsRecord>);
    if (!probe.Reload()) return;
    white.TakeBack(probe);
    malicious.TakeBack(probe);
    ReleaseEmpty<IdsSettingsRecord>(probe, TARN_NAMED(ReleaseIDSSettings));
    malicious.CountRounds(probe);
    white.CountRounds(probe);
}

void ProbeModule(const Probe& probe, StatusReaderCalls& calls) {
    ProbeServerName(probe, calls);
    ReadAndRelease<DnsCacheRecord>(probe, TARN_NAMED(ReadDNSCacheSettings), TARN_NAMED(ReleaseDNSCacheSettings),
                                   CheckLists<DnsCacheRecord>);
    auto user = Kept<UrlListRecord>(TARN_NAMED(ReadBPUserWhiteList), TARN_NAMED(ReleaseBPUserWhiteList));
    user.Deliver(probe);
    ReadAlone<std::uint8_t>(probe, TARN_NAMED(ReadBPStatus));
    ReadAlone<IdsIpsStatus>(probe, TARN_NAMED(ReadIDSIPSStatus));
    ReadAndRelease<IdsIpsSettings>(probe, TARN_NAMED(ReadIDSIPSSettings), TARN_NAMED(ReleaseIDSIPSSettings),
                                   CheckAnything<IdsIpsSettings>);
    ReadAlone<std::uint8_t>(probe, TARN_NAMED(ReadAPStatus));
    ReadAlone<std::uint8_t>(probe, TARN_NAMED(ReadWebSecCloudStatus));
    ReadAndRelease<PcSettingsRecord>(probe, TARN_NAMED(ReadPCSettings), TARN_NAMED(ReleasePCSettings),
                                     CheckLists<PcSettingsRecord>);
    ReadAndRelease<PcSystemControlRecord>(probe, TARN_NAMED(ReadPCSystemControlSettings),
                                          TARN_NAMED(ReleasePCSystemControlSettings),
                                          CheckLists<PcSystemControlRecord>);
    ReadAlone<PromptBytes>(probe, TARN_NAMED(ReadBPReportPromptStatus));
    if (calls.ReadAPReportPromptStatus != nullptr) ReadAlone<PromptBytes>(probe, TARN_NAMED(ReadAPReportPromptStatus));
    if (probe.Check().writes) {
        ProbeSavedAnswers(probe, calls);
        ProbeSavedSessions(probe, calls);
    }
    if (!probe.Reload()) return;
    user.TakeBack(probe);
    user.CountRounds(probe);
}

void ProbeModule(const Probe& probe, DisabledFeaturesReaderCalls& calls) {
    ReadAlone<DisabledFeatures>(probe, TARN_NAMED(ReadDisableFeaturesSettings));
}

void ProbeModule(const Probe& probe, AgentStatusReaderCalls& calls) {
    constexpr const char* kName = "GetYALStatus";
    GuardedRecord<std::uint8_t> status;
    const bool isRead = probe.Call(kName, [&] { return calls.GetYALStatus(status.Get()) != 0; });
    status.FindOverrun(probe, kName);
    if (!isRead) {
        probe.Note(kName, "says no", "the agent status is 0");
        return;
    }
    probe.FindLeak(kName, [&] { calls.GetYALStatus(status.Get()); });
}

// Its one function would put a program into quarantine: that it is there is all that can be tried.
void ProbeModule(const Probe&, QuarantineCalls&) {}

#undef TARN_NAMED

}  // namespace tarn::host
