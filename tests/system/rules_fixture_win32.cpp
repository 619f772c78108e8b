#include "system/rules_fixture_win32.h"

#include <cstring>
#include <filesystem>

namespace tarn::system_test {

std::uint8_t RulesFixture::FeatureStatus() const {
    std::uint8_t status = 0xFF;
    EXPECT_EQ(tarn.WSGetUrlScanFeatureStatus(&status), 1);
    return status;
}

void RulesFixture::SwitchScheduleOn(const std::vector<TimeRange>& everyDay) {
    ranges_ = everyDay;
    profile.leading.profileSwitch = profile.leading.scheduleSwitch = 1;
    profile.leading.scheduleSuspended = 0;
    for (auto& day : profile.schedule) day = {static_cast<std::uint32_t>(ranges_.size()), ranges_.data()};
    DeliverOneProfile();
}

void RulesFixture::SwitchScheduleOff() {
    profile.leading.scheduleSwitch = 0;
}

bool RulesFixture::ScheduleAllows() {
    EXPECT_TRUE(Visit("plain.example", "/"));
    EXPECT_TRUE(verdict.reason == TARN_REASON_DEFAULT || verdict.reason == TARN_REASON_SCHEDULE) << Verdict();
    return verdict.reason == TARN_REASON_DEFAULT;
}

void RulesFixture::ExcludeThisProgram() {
    wchar_t own[MAX_PATH] = L"";
    GetModuleFileNameW(nullptr, own, MAX_PATH);
    WriteFile("browskip.ini", "[BROWSER_EXCLUSION_LIST]\r\nCOUNT=1\r\nNAMES=" +
                                  std::filesystem::path(own).filename().string() + "\r\n");
}

void RulesFixture::MakeEveryFrameAnAttack() {
    answers.idsIpsStatus.enabled = 1;
    answers.packetVerdict.action = 0;
}

std::u16string RulesFixture::RuleNameOf(std::uint16_t ruleId) {
    const std::uint8_t frame[60] = {};
    PacketVerdict packet{};
    EXPECT_EQ(tarn.WSScanPacket(frame, sizeof frame, ruleId, 1, 0, &packet), 1);
    EXPECT_EQ(packet.action, std::uint32_t{TARN_PACKET_BLOCK});
    char16_t name[50];
    std::memcpy(name, reinterpret_cast<const char*>(&packet) + offsetof(PacketVerdict, ruleName), sizeof name);
    return name;
}

// ---- The modules that the library loads ----

namespace {

std::string refusedFile;
std::vector<ModuleLoads::Call> loadCalls;

HMODULE WINAPI WatchedLoad(const wchar_t* path, HANDLE file, DWORD flags) {
    const std::string name = std::filesystem::path(path).filename().string();
    loadCalls.push_back({name, file, flags});
    if (!refusedFile.empty() && name == refusedFile) {
        SetLastError(ERROR_MOD_NOT_FOUND);
        return nullptr;
    }
    return LoadLibraryExW(path, file, flags);
}

}  // namespace

ModuleLoads::ModuleLoads(HMODULE library) : patch_(library, "LoadLibraryExW", WatchedLoad) {
    refusedFile.clear();
    loadCalls.clear();
}

void ModuleLoads::Refuse(const std::string& file) {
    refusedFile = file;
}

const std::vector<ModuleLoads::Call>& ModuleLoads::Calls() {
    return loadCalls;
}

// ---- The worker's event and thread ----

namespace {

constexpr DWORD kLongest = 20'000;

struct {
    bool refuseEvents;
    bool refuseThreads;
    bool refuseSignals;
    HANDLE lastEvent;
    std::vector<HANDLE> events;  // handles of our own
    std::vector<HANDLE> threads;
} worker;

HANDLE OwnHandle(HANDLE of) {
    HANDLE own = nullptr;
    DuplicateHandle(GetCurrentProcess(), of, GetCurrentProcess(), &own, 0, FALSE, DUPLICATE_SAME_ACCESS);
    return own;
}

HANDLE WINAPI WatchedCreateEvent(SECURITY_ATTRIBUTES* attributes, BOOL manual, BOOL signalled, const wchar_t* name) {
    if (worker.refuseEvents) {
        SetLastError(WorkerCalls::kRefused);
        return nullptr;
    }
    worker.lastEvent = CreateEventW(attributes, manual, signalled, name);
    worker.events.push_back(OwnHandle(worker.lastEvent));
    return worker.lastEvent;
}

HANDLE WINAPI WatchedCreateThread(SECURITY_ATTRIBUTES* attributes, SIZE_T stack, LPTHREAD_START_ROUTINE start,
                                  void* argument, DWORD flags, DWORD* id) {
    if (worker.refuseThreads) {
        SetLastError(WorkerCalls::kRefused);
        return nullptr;
    }
    const HANDLE thread = CreateThread(attributes, stack, start, argument, flags, id);
    worker.threads.push_back(OwnHandle(thread));
    return thread;
}

BOOL WINAPI WatchedSetEvent(HANDLE event) {
    if (!worker.refuseSignals) return SetEvent(event);
    SetLastError(WorkerCalls::kRefused);
    return FALSE;
}

}  // namespace

WorkerCalls::WorkerCalls(HMODULE library)
    : createEvent_(library, "CreateEventW", WatchedCreateEvent),
      createThread_(library, "CreateThread", WatchedCreateThread),
      setEvent_(library, "SetEvent", WatchedSetEvent) {
    worker = {};
}

WorkerCalls::~WorkerCalls() {
    for (const HANDLE event : worker.events) CloseHandle(event);
    for (const HANDLE thread : worker.threads) CloseHandle(thread);
    worker = {};
}

void WorkerCalls::RefuseEvents(bool refuse) {
    worker.refuseEvents = refuse;
}

void WorkerCalls::RefuseThreads(bool refuse) {
    worker.refuseThreads = refuse;
}

void WorkerCalls::RefuseSignals(bool refuse) {
    worker.refuseSignals = refuse;
}

std::size_t WorkerCalls::ThreadsMade() {
    return worker.threads.size();
}

bool WorkerCalls::AwaitThread(std::size_t number) {
    return WaitForSingleObject(worker.threads.at(number), kLongest) == WAIT_OBJECT_0;
}

HANDLE WorkerCalls::LastEvent() {
    return worker.lastEvent;
}

bool WorkerCalls::EndAllThreads() {
    for (const HANDLE event : worker.events) SetEvent(event);
    for (std::size_t i = 0; i < worker.threads.size(); ++i)
        if (!AwaitThread(i)) return false;
    return true;
}

}  // namespace tarn::system_test
