// The modules that scans ask, on several threads at once: categories, packet signatures, HTTPS inspection, patterns.
#include <array>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <mutex>
#include <thread>
#include <vector>

#include "tarn/values.h"

#include "host/companion_kit/probe.h"

namespace tarn::host {

namespace {

constexpr std::size_t kThreads = 8;
constexpr std::size_t kRounds = 100;                // of all questions, on each thread
constexpr std::chrono::seconds kTimeForThreads{2};  // a slow module answers fewer
constexpr std::uint16_t kHttpPort = 0x5000;         // 80 in network byte order
constexpr std::uint16_t kTlsPort = 0xBB01;          // 443 in network byte order
constexpr std::uint32_t kServer = 0x057100CB;       // 203.0.113.5 as its bytes stand
constexpr const char* kDiffer = "two scans of one thing at the same time can have different verdicts";

const std::vector<std::string> kAddresses = {"shop.example/basket?id=7",   "news.example/",
                                             "ftp://files.example/readme", "203.0.113.5",
                                             "xn--bcher-kva.example/",     "a.very.deep.name.example/a/b/c"};

// The usual addresses, one as long as they get, and those that the user named.
std::vector<std::string> AddressesOf(const CompanionCheck& check) {
    std::vector<std::string> addresses = kAddresses;
    addresses.push_back("long.example/" + std::string(TARN_URL_CAPACITY - 1 - 13, 'a'));
    addresses.insert(addresses.end(), check.addresses.begin(), check.addresses.end());
    return addresses;
}

std::string HostOf(const std::string& address) {
    return address.substr(0, address.find('/'));
}
std::string PathOf(const std::string& address) {
    const std::size_t slash = address.find('/');
    return slash == std::string::npos ? "/" : address.substr(slash);
}

// Where threads wait until the last of them is there. (The barrier of this C++ library loses its waiters on Windows.)
class StartLine {
 public:
    explicit StartLine(std::size_t threads) : missing_(threads) {}
    void Wait() {
        std::unique_lock lock(mutex_);
        if (--missing_ == 0) all_.notify_all();
        all_.wait(lock, [this] { return missing_ == 0; });
    }

 private:
    std::mutex mutex_;
    std::condition_variable all_;
    std::size_t missing_;
};

// answer(number) for each question: first on one thread, then on eight at once, which must hear the same.
template <class Answer>
void AskTogether(const Probe& probe, const char* function, std::size_t questions, Answer answer) {
    std::vector<std::string> expected(questions);
    const bool isAnswered = probe.Call(function, [&] {
        for (std::size_t i = 0; i < questions; ++i) expected[i] = answer(i);
        return true;
    });
    if (!isAnswered) return;

    std::atomic<std::size_t> different = 0;
    std::atomic<bool> hasThrown = false;
    StartLine start(kThreads);
    probe.Call(fmt::format("{} on {} threads", function, kThreads), [&] {
        std::vector<std::jthread> threads;
        const auto end = std::chrono::steady_clock::now() + kTimeForThreads;
        for (std::size_t thread = 0; thread < kThreads; ++thread)
            threads.emplace_back([&, thread] {
                start.Wait();
                try {
                    for (std::size_t i = 0; i < kRounds * questions; ++i) {
                        if (std::chrono::steady_clock::now() > end) return;
                        const std::size_t question = (i + thread) % questions;
                        if (answer(question) != expected[question]) ++different;
                    }
                } catch (...) {
                    hasThrown = true;
                }
            });
        return true;
    });
    if (hasThrown) probe.Find(function, "throws an exception to its caller", "the host process would end");
    if (different != 0)
        probe.Find(function,
                   fmt::format("{} answers on {} threads at once differ from those on one", +different, kThreads),
                   kDiffer);
    probe.FindLeak(function, [&] {
        for (std::size_t i = 0; i < questions; ++i) answer(i);
    });
}

// A module that does not start is no module.
bool Start(const Probe& probe, const char* function, bool isNeeded, const std::function<bool()>& start) {
    if (probe.Call(function, start)) return true;
    if (isNeeded)
        probe.Find(function, "fails", "the library does not start: WSInit is false");
    else
        probe.Note(function, "fails", "the library goes on without the module");
    return false;
}

void Stop(const Probe& probe, const char* function, const std::function<void()>& stop) {
    probe.Call(function, [&] {
        stop();
        return true;
    });
}

// The categories of an address as text.
std::string CategoriesOf(const CategorisationCalls& calls, const std::string& address, const RecordMemory& memory,
                         RecordFindings* findings, std::vector<std::uint16_t>* found) {
    std::uint16_t* categories = nullptr;
    std::uint16_t count = 0;
    const bool isKnown = calls.SCGetURLCategories(address.c_str(), &categories, &count, TARN_LOOKUP_DECIDE_NOW) != 0;
    if (findings != nullptr) *findings = CheckCategories(categories, count, memory);
    std::string text = isKnown ? "yes" : "no";
    const std::size_t readable = categories == nullptr ? 0 : memory.Readable(categories, count * sizeof *categories);
    for (std::size_t i = 0; i < readable / sizeof *categories; ++i) {
        text += fmt::format(" {}", categories[i]);
        if (found != nullptr) found->push_back(categories[i]);
    }
    if (categories != nullptr) calls.SCReleaseCategories(categories);
    return text;
}

void ProbeCategoryNames(const Probe& probe, const CategorisationCalls& calls,
                        const std::vector<std::uint16_t>& categories) {
    constexpr const char* kName = "SCGetCategoryName";
    constexpr std::uint32_t kCapacity = 50;
    for (const std::uint16_t category : categories) {
        GuardedRecord<std::array<char16_t, kCapacity>> name;
        const bool isNamed =
            probe.Call(kName, [&] { return calls.SCGetCategoryName(category, name.Get()->data(), kCapacity) != 0; });
        name.FindOverrun(probe, kName);
        if (isNamed && !EndsInside16((*name).data(), kCapacity))
            probe.Find(kName, fmt::format("the name of category {} has no NUL within {} units", category, kCapacity),
                       "the library takes the last unit for the NUL");
        if (!isNamed)
            probe.Note(kName, fmt::format("has no name for category {}", category), "verdicts leave the name empty");
    }
}

void AskCategories(const Probe& probe, const CategorisationCalls& calls) {
    constexpr const char* kName = "SCGetURLCategories";
    const std::vector<std::string> addresses = AddressesOf(probe.Check());
    std::vector<std::uint16_t> found{TARN_CATEGORY_MALICIOUS, TARN_CATEGORY_PHISHING};
    for (const std::string& address : addresses) {
        RecordFindings findings;
        std::string answer;
        probe.Call(kName, [&] {
            answer = CategoriesOf(calls, address, probe.World(), &findings, &found);
            return true;
        });
        probe.Find(kName, findings);
        if (answer.starts_with("no"))
            probe.Find(kName, fmt::format("says no about {:.60}", address), "the scan that asks is false");
    }
    ProbeCategoryNames(probe, calls, found);
    AskTogether(probe, kName, addresses.size(),
                [&](std::size_t i) { return CategoriesOf(calls, addresses[i], probe.World(), nullptr, nullptr); });
}

using Frame = std::vector<std::uint8_t>;

// An Ethernet frame with IPv4, TCP and some bytes of a request; an ARP question; one that is cut.
std::vector<Frame> Frames() {
    Frame request = {2,    0, 0, 0,  0, 1, 2,    0, 0,  0, 0, 2, 8,    0,                               // Ethernet
                     0x45, 0, 0, 56, 0, 1, 0x40, 0, 64, 6, 0, 0, 192,  0,    2,    7, 203, 0, 113, 5,   // IPv4
                     0xC0, 1, 0, 80, 0, 0, 0,    1, 0,  0, 0, 1, 0x50, 0x18, 0x20, 0, 0,   0, 0,   0};  // TCP
    for (const char c : std::string_view("GET / HTTP/1.1\r\n")) request.push_back(static_cast<std::uint8_t>(c));
    Frame question(60, 0);
    question[12] = 8;
    question[13] = 6;
    return {request, question, Frame(request.begin(), request.begin() + 30)};
}

std::string AnswerOn(const PacketSignaturesCalls& calls, const Frame& frame, bool isInbound,
                     GuardedRecord<PacketVerdict>& verdict) {
    const bool isKnown = calls.PKSScanPacket(frame.data(), static_cast<std::uint32_t>(frame.size()), 1,
                                             isInbound ? 1 : 0, verdict.Get()) != 0;
    const std::uint32_t action = (*verdict).action;
    const std::uint32_t reason = (*verdict).reason;
    return isKnown ? fmt::format("{} {}", action, reason) : "nothing";
}

void AskPackets(const Probe& probe, const PacketSignaturesCalls& calls) {
    constexpr const char* kName = "PKSScanPacket";
    const std::vector<Frame> frames = Frames();
    for (const Frame& frame : frames) {
        GuardedRecord<PacketVerdict> verdict;
        std::string answer;
        probe.Call(kName, [&] {
            answer = AnswerOn(calls, frame, true, verdict);
            return true;
        });
        verdict.FindOverrun(probe, kName);
        const std::uint32_t action = (*verdict).action;
        if (answer != "nothing" && action != TARN_SIGNATURE_ATTACK && action != TARN_SIGNATURE_NO_ATTACK)
            probe.Find(kName, fmt::format("the action is {}, which has no meaning", action),
                       "the host gets the number as it is");
    }
    AskTogether(probe, kName, 2 * frames.size(), [&](std::size_t i) {
        GuardedRecord<PacketVerdict> verdict;
        return AnswerOn(calls, frames[i / 2], i % 2 == 0, verdict);
    });
}

// The hello of a TLS client that names the host.
Frame HelloTo(const std::string& host) {
    const auto put16 = [](Frame& to, std::size_t number) {
        to.push_back(static_cast<std::uint8_t>(number >> 8));
        to.push_back(static_cast<std::uint8_t>(number));
    };
    Frame body = {3, 3};
    body.resize(2 + 32, 7);                                // random
    body.insert(body.end(), {0, 0, 2, 0x13, 0x01, 1, 0});  // no session, one cipher suite, no compression
    put16(body, 9 + host.size());                          // extensions
    body.insert(body.end(), {0, 0});                       // the server's name
    put16(body, 5 + host.size());
    put16(body, 3 + host.size());
    body.push_back(0);
    put16(body, host.size());
    body.insert(body.end(), host.begin(), host.end());
    Frame hello = {22, 3, 1};
    put16(hello, body.size() + 4);
    hello.insert(hello.end(), {1, 0});
    put16(hello, body.size());
    hello.insert(hello.end(), body.begin(), body.end());
    return hello;
}

std::string YesOrNo(bool isValid, std::uint8_t answer) {
    return isValid ? fmt::format("{}", answer != 0) : "nothing";
}

void AskInspection(const Probe& probe, const HttpsInspectionCalls& calls) {
    const std::vector<std::string> addresses = AddressesOf(probe.Check());
    std::vector<Frame> hellos;
    hellos.reserve(addresses.size());
    for (const std::string& address : addresses) hellos.push_back(HelloTo(HostOf(address)));
    AskTogether(probe, "TiScanHttpsPacket", addresses.size(), [&](std::size_t i) {
        std::uint8_t block = 0;
        const Frame& hello = hellos[i];
        const bool isValid = calls.TiScanHttpsPacket(1000, addresses[i].c_str(), kServer, kTlsPort, hello.data(),
                                                     static_cast<std::uint32_t>(hello.size()), &block) != 0;
        return YesOrNo(isValid, block);
    });
}

void AskPatterns(const Probe& probe, const UrlPatternsCalls& calls) {
    const std::vector<std::string> addresses = AddressesOf(probe.Check());
    AskTogether(probe, "WSCheckURLMaliciousPattern", addresses.size(), [&](std::size_t i) {
        std::uint8_t malicious = 0;
        const std::string host = HostOf(addresses[i]);
        const std::string path = PathOf(addresses[i]);
        const bool isValid =
            calls.WSCheckURLMaliciousPattern(TARN_KIND_HTTP, host.c_str(), path.c_str(), kHttpPort, &malicious) != 0;
        return YesOrNo(isValid, malicious);
    });
}

}  // namespace

void ProbeModule(const Probe& probe, CategorisationCalls& calls) {
    for (int load = 0; load < 2; ++load) {
        std::uint32_t error = 0;
        // Nothing is asked online: the check leaves no trace outside the machine.
        if (!Start(probe, "SCInit", true, [&] { return calls.SCInit(0, &error) != 0; })) return;
        if (load == 0) AskCategories(probe, calls);
        if (load == 0 && probe.Check().writes)
            probe.Call("SCSaveCacheFile", [&] {
                calls.SCSaveCacheFile(0, 0, 0, 0);
                return true;
            });
        Stop(probe, "SCDeinit", [&] { calls.SCDeinit(&error); });
        if (load == 0 && !probe.Reload()) return;
    }
}

void ProbeModule(const Probe& probe, PacketSignaturesCalls& calls) {
    void* context = nullptr;  // the second load finds it as the first left it
    for (int load = 0; load < 2; ++load) {
        std::uint32_t error = 0;
        if (!Start(probe, "PKSInit", true, [&] { return calls.PKSInit(&context, &error) != 0; })) return;
        if (load == 0) AskPackets(probe, calls);
        Stop(probe, "PKSDeinit", [&] { calls.PKSDeinit(context, &error); });
        if (load == 0 && !probe.Reload()) return;
    }
}

void ProbeModule(const Probe& probe, HttpsInspectionCalls& calls) {
    for (int load = 0; load < 2; ++load) {
        if (!Start(probe, "IntializeSSL", false, [&] { return calls.IntializeSSL() != 0; })) return;
        if (load == 0) AskInspection(probe, calls);
        Stop(probe, "DeIntializeSSL", [&] { calls.DeIntializeSSL(); });
        if (load == 0 && !probe.Reload()) return;
    }
}

void ProbeModule(const Probe& probe, UrlPatternsCalls& calls) {
    for (int load = 0; load < 2; ++load) {
        std::uint32_t error = 0;
        if (!Start(probe, "WSInitUrlsig", false, [&] { return calls.WSInitUrlsig() != 0; })) return;
        if (load == 0) AskPatterns(probe, calls);
        Stop(probe, "WSDeInitUrlsig", [&] { calls.WSDeInitUrlsig(&error); });
        if (load == 0 && !probe.Reload()) return;
    }
}

}  // namespace tarn::host
