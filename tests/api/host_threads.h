// Eight threads of a host that scan at once, each knowing every verdict it must get, beside one that blocks addresses
// and one that changes settings while the scans pause. The caller passes the functions and the change.
#ifndef TARN_TESTS_API_HOST_THREADS_H
#define TARN_TESTS_API_HOST_THREADS_H

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>

#include "tarn/tarn.h"

namespace tarn::api {

// The exports that a host calls from any thread, or what stands for them.
struct HostCalls {
    decltype(&::WSScanUrl) scanUrl;
    decltype(&::WSScanPacket) scanPacket;
    decltype(&::WSScanSMBPacket) scanSmb;
    decltype(&::WSScanLogonEventForPCCTRL) logon;
    decltype(&::WSAddURLToIDSBlockedList) blockAddress;
};

// What the settings must say: the malicious and the phishing site whole, the white one on the internal white list;
// category 2 for the blocked host and for the attackers' addresses; one schedule for all users that never allows a
// controlled account; browsing protection, anti-phishing and the IDS on.
inline constexpr const char* kWhiteHost = "white.tarn.example";
inline constexpr const char* kMaliciousHost = "malicious.tarn.example";
inline constexpr const char* kPhishingHost = "phishing.tarn.example";
inline constexpr const char* kBlockedHost = "blocked.tarn.example";
inline constexpr const char* kAttackerNetwork = "198.51.100.";  // each thread's own last byte from 40 on
inline constexpr std::size_t kHostThreads = 8;

struct HostLoad {
    std::size_t turns = 1;  // of each thread in a round; in a turn a thread calls each export
    // Between two rounds, while no call runs. False ends the load.
    std::function<bool(std::size_t round)> between;
};

struct HostReport {
    std::size_t calls = 0;
    std::size_t wrong = 0;
    std::string firstWrong;       // which call, of which thread and turn
    std::size_t sharedTicks = 0;  // of the account that all threads report
};

HostReport RunHostThreads(const HostCalls& calls, const HostLoad& load);
// One turn on the calling thread.
HostReport RunOneTurn(const HostCalls& calls, std::size_t turn);

}  // namespace tarn::api

#endif
