// A host in C++ with several threads: each judges its share of the addresses, while the settings are read once more.
//
//     cpp_host [HOST/PATH...]      for example  cpp_host lantern.example/redirect harbor.test/
//
// Exit code: 0 all were judged, 1 tarn did not start, 3 an address got no verdict or the settings could not be read.
#include <atomic>
#include <exception>
#include <iostream>
#include <string>
#include <thread>
#include <vector>
#include <windows.h>

#include "tarn_library.h"

namespace {

constexpr unsigned kThreads = 4;

struct Address {
    std::string host;
    std::string path;
    std::string answer;
};

Address Split(const std::string& text) {
    const std::size_t slash = text.find('/');
    if (slash == std::string::npos) return {text, "/", {}};
    return {text.substr(0, slash), text.substr(slash), {}};
}

std::string Words(const std::optional<UrlVerdict>& verdict) {
    if (!verdict) return "not judged, let pass";
    const std::string state = verdict->allow == TARN_BLOCK ? "BLOCKED" : "allowed";
    switch (verdict->reason) {
        case TARN_REASON_MALICIOUS:
            return state + " (malicious site, " + verdict->text.threat.name + ")";
        case TARN_REASON_PHISHING:
            return state + " (phishing site)";
        case TARN_REASON_DEFAULT:
            return state + " (no rule decided)";
        default:
            return state + " (reason " + std::to_string(verdict->reason) + ")";
    }
}

// Every address is judged by exactly one thread.
bool JudgeAll(TarnLibrary& tarn, std::vector<Address>& addresses) {
    std::atomic<std::size_t> next = 0;
    std::atomic<bool> all = true;
    const auto work = [&] {
        for (std::size_t at = next++; at < addresses.size(); at = next++) {
            const auto verdict = tarn.Judge(addresses[at].host, addresses[at].path, GetCurrentProcessId());
            addresses[at].answer = Words(verdict);
            if (!verdict) all = false;
        }
    };
    std::vector<std::thread> threads;
    for (unsigned i = 0; i < kThreads; ++i) threads.emplace_back(work);
    if (!tarn.ReadSettingsAgain()) all = false;
    for (std::thread& thread : threads) thread.join();
    return all;
}

}  // namespace

int main(int argc, char** argv) {
    std::vector<Address> addresses;
    for (int i = 1; i < argc; ++i) addresses.push_back(Split(argv[i]));
    if (addresses.empty())
        for (const char* text : {"lantern.example/redirect", "login.harbor.test/", "harbor.test/"})
            addresses.push_back(Split(text));
    try {
        TarnLibrary tarn;
        const bool all = JudgeAll(tarn, addresses);
        for (const Address& address : addresses)
            std::cout << address.host << address.path << ": " << address.answer << '\n';
        return all ? 0 : 3;
    } catch (const std::exception& error) {
        std::cerr << error.what() << '\n';
        return 1;
    }
}
