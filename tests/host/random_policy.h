// Policies and addresses at random, of so few hosts and paths that they meet often.
// The same seed gives the same policy and addresses.
#ifndef TARN_TESTS_HOST_RANDOM_POLICY_H
#define TARN_TESTS_HOST_RANDOM_POLICY_H

#include <cstdint>
#include <map>
#include <random>
#include <string>
#include <vector>

namespace tarn::host {

struct RandomAddress {
    std::string url;
    std::string server;       // empty: that of the URL, else a public one
    bool isReported = false;  // by a browser's extension
};

class RandomPolicy {
 public:
    // ownAccount: the identifier of the account whose requests are judged.
    RandomPolicy(std::uint32_t seed, std::string ownAccount) : random_(seed), ownAccount_(std::move(ownAccount)) {}

    std::string Text();
    // The files that the text includes, by name; of use after Text.
    [[nodiscard]] const std::map<std::string, std::string>& Lists() const { return lists_; }
    RandomAddress Address();
    std::string Time();  // local

 private:
    std::uint32_t Below(std::uint32_t bound) { return random_() % bound; }
    bool OneIn(std::uint32_t count) { return Below(count) == 0; }
    std::string Flag(std::uint32_t oneIsFalse) { return OneIn(oneIsFalse) ? "false" : "true"; }
    std::string Host();
    std::string ListedHost();
    std::string Path();
    std::string ListedPath();
    std::string Texts(const char* key, std::string (RandomPolicy::*text)());
    std::string WhiteListed();
    std::string Pattern();
    std::string Categories();
    std::string Threats();
    std::string User(bool isFirst);
    std::string Times();
    std::string AllowedSites(const char* key);
    std::string BlockedSites();
    std::string Included();
    std::string List();

    std::mt19937 random_;
    std::string ownAccount_;
    std::map<std::string, std::string> lists_;
};

}  // namespace tarn::host

#endif
