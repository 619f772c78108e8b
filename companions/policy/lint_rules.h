// The rules of the linter and what they share. One call of LintPolicy owns a Lint; policy_lint.cpp has the table.
#ifndef TARN_COMPANIONS_POLICY_LINT_RULES_H
#define TARN_COMPANIONS_POLICY_LINT_RULES_H

#include <algorithm>
#include <fmt/format.h>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

#include "policy/policy_lint.h"

namespace tarn::policy {

// What there is to look at, and what was found in it.
struct Linted {
    explicit Linted(const ReadPolicy& read)
        : policy(read.policy), parental(WithLeftOut(read)), notes(read.parental), keys(read.keys) {}

    static Parental WithLeftOut(const ReadPolicy& read) {
        Parental all = read.policy.parental;
        all.users.insert(all.users.end(), read.parental.leftOut.begin(), read.parental.leftOut.end());
        std::stable_sort(all.users.begin(), all.users.end(),
                         [](const auto& a, const auto& b) { return a.place.line < b.place.line; });
        return all;
    }

    const Policy& policy;
    const Parental parental;  // with the entries whose accounts this machine does not have
    const ParentalNotes& notes;
    const std::set<std::string>& keys;
    std::vector<Finding> findings;
};

class Lint : public Linted {
 public:
    Lint(const ReadPolicy& read, const AsciiHost& asciiHost) : Linted(read), asciiHost_(asciiHost) {}

    void Warn(Place place, std::string text, std::optional<Repair> repair = {}) {
        findings.push_back({place, std::move(text), std::move(repair)});
    }
    // key "text" can never match, because ...: write "mended"
    void NeverMatches(const char* key, Place place, std::string_view text, std::string_view why,
                      std::optional<std::string> mended = {}) {
        std::string says = fmt::format("{} \"{}\" can never match, because {}", key, text, why);
        if (!mended) return Warn(place, std::move(says));
        says += fmt::format(": write \"{}\"", *mended);
        Warn(place, std::move(says), Repair{key, place, std::string(text), std::move(mended)});
    }
    [[nodiscard]] std::optional<std::string> AsciiForm(const std::string& host) const {
        return asciiHost_ ? asciiHost_(host) : std::nullopt;
    }
    // "line 12", with the file when that is not the policy itself.
    [[nodiscard]] std::string Line(Place place) const {
        const bool isOther = place.file != 0 && place.file < policy.files.size();
        return isOther ? fmt::format("{}, line {}", policy.files[place.file], place.line)
                       : fmt::format("line {}", place.line);
    }

 private:
    const AsciiHost& asciiHost_;
};

// The first place of each text.
using FirstPlaces = std::unordered_map<std::string, Place>;

// A white list with its key; "*" in front stands for something only where takesStar.
struct NamedWhiteList {
    const char* key;
    const std::vector<ListedText>& entries;
    bool takesStar;
};
std::vector<NamedWhiteList> WhiteListsOf(const Policy& policy);

// "http://" or "https://" and the like in front of a text; empty without.
std::string_view SchemeOf(std::string_view text);
std::string_view WithoutSlashAtEnd(std::string_view text);
// From a path to the one above it, without the "/" between them: "/a/b", "/a", "", and then no more.
bool ToPathAbove(std::string_view& path);
// From a host to the domain above it; false at the last label.
bool ToDomainAbove(std::string_view& host);
bool IsAscii(std::string_view text);

// Threat lists: lint_threats.cpp.
void HostsWithWww(Lint& lint);
void HostsWithDot(Lint& lint);
void PrivateAddresses(Lint& lint);
void SitesWithNothingToMatch(Lint& lint);
void ThreatPaths(Lint& lint);
void PhishingPaths(Lint& lint);

// White lists, patterns, HTTPS inspection: lint_texts.cpp.
void InternationalHosts(Lint& lint);
void WhiteListTexts(Lint& lint);
void DoubledWhiteListTexts(Lint& lint);
void BlockedEntriesLetPass(Lint& lint);
void Patterns(Lint& lint);
void InspectedHosts(Lint& lint);

// Categories, packets, rules, features: lint_settings.cpp.
void CategoryNumbers(Lint& lint);
void CategorisedSites(Lint& lint);
void Signatures(Lint& lint);
void IdsRuleNumbers(Lint& lint);
void FeaturesThatAreNotSet(Lint& lint);

// Parental control: lint_parental.cpp and lint_parental_sites.cpp.
void ParentalNumbers(Lint& lint);
void ParentalEntries(Lint& lint);
void Schedules(Lint& lint);
void LogonHours(Lint& lint);
void ParentalHosts(Lint& lint);
void ParentalPaths(Lint& lint);
void ParentalSitesTwice(Lint& lint);
void ParentalSitesLetPass(Lint& lint);

}  // namespace tarn::policy

#endif
