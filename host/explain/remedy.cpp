#include "host/explain/remedy.h"

#include <algorithm>
#include <fmt/format.h>
#include <memory>

#include "host/explain/policy_edit.h"
#include "host/explain/policy_text.h"

namespace tarn::host {

namespace {

std::string HostOf(const AskedAddress& asked) {
    const std::string_view host = asked.host;
    if (host.starts_with('[')) return std::string(host.substr(0, host.find(']') + 1));
    return std::string(host.substr(0, host.find(':')));
}

// Writes one remedy after the other until one works.
class Remedies {
 public:
    Remedies(const PolicyVariant& variant, const PolicyIndex& index, const ScanQuestion& question,
             const policy::FindSid& findSid, bool allows)
        : index_(&index), question_(question), findSid_(findSid), allows_(allows), variant_(variant) {}

    // From now on without that entry. False when it cannot be taken out, or when that is enough.
    bool TakeOut(const EntryRef& entry) {
        std::string whyNot;
        first_ = fmt::format("take out {}, which lets it pass", PlaceWords(index_->Describe(entry)));
        auto edited = WithoutEntry(variant_, index_->Policy(), entry, findSid_, whyNot);
        if (!edited) return false;
        variant_ = std::move(edited->variant);
        edited_ = std::make_unique<const PolicyIndex>(std::move(edited->says));
        index_ = edited_.get();
        if (!Works(variant_.text)) return true;
        found_ = Remedy{allows_, {}, first_, variant_};
        return false;
    }

    std::optional<Remedy> Allow() {
        const PolicyText text(variant_.text, FileName());
        const std::string& address = question_.asked.hostAndPath;
        if (Try(text.AddText("white_lists", "user", address)) ||
            Try(text.AddUserSite("allowed_sites", HostOf(question_.asked))) ||
            Try(text.AddText("white_lists", "web_security", address)))
            return found_;
        Try(text.AddText("white_lists", "browsing_protection", address));
        return found_;
    }

    std::optional<Remedy> Block() {
        const PolicyText text(variant_.text, FileName());
        const std::string host = HostOf(question_.asked);
        const std::optional<Insertion> listed = List(text, host.starts_with("www.") ? host.substr(4) : host);
        if (Try(listed) || Try(text.AddUserSite("blocked_sites", host))) return found_;
        const PolicyText with(listed ? listed->text : variant_.text, FileName());
        Insertion switched = with.Set("features", "browsing_protection", "true");
        if (listed && listed->where == switched.where) {
            switched.written = listed->written + '\n' + switched.written;
        } else if (listed) {
            const std::string also = switched.written;
            switched.written = listed->written;
            switched.where = fmt::format("{}, and {} {}", listed->where, also, switched.where);
        }
        Try(switched);
        return found_;
    }

    [[nodiscard]] const std::optional<Remedy>& Found() const { return found_; }

 private:
    [[nodiscard]] const std::string& FileName() const { return index_->Policy().files.front(); }

    // As a malicious site; nothing when all of it is listed so already.
    [[nodiscard]] std::optional<Insertion> List(const PolicyText& text, const std::string& bare) const {
        const auto& sites = index_->Policy().maliciousSites;
        const auto known = std::find_if(sites.begin(), sites.end(),
                                        [&](const policy::MaliciousSite& one) { return one.host == bare; });
        if (known == sites.end()) return text.AddSite("malicious_sites", bare);
        if (known->wholeSite) return std::nullopt;
        return text.SwitchOn(index_->Policy(),
                             {PolicyList::kMaliciousSites, static_cast<std::uint32_t>(known - sites.begin())},
                             "whole_site");
    }

    bool Try(const std::optional<Insertion>& made) {
        if (!made || !Works(made->text)) return false;
        const std::string where = first_.empty() ? made->where : fmt::format("{}, and write {}", first_, made->where);
        found_ = Remedy{allows_, made->written, where, variant_};
        found_->policy.text = made->text;
        return true;
    }

    [[nodiscard]] bool Works(const std::string& text) const {
        PolicyVariant changed = variant_;
        changed.text = text;
        changed.withoutLists = true;
        policy::ReadPolicy read = ReadVariant(changed, findSid_);
        if (!read.mistakes.empty()) return false;
        AddMatchesOfLists(read.policy);
        const Outcome outcome = Foretell(PolicyIndex(std::move(read.policy)), question_).outcome;
        return outcome.isVerdict && outcome.isBlocked != allows_;
    }

    // To what the text says itself the entries of lists that match what is asked: no other entry of them counts.
    void AddMatchesOfLists(policy::Policy& own) const {
        const AskedAddress& asked = question_.asked;
        const policy::Policy& all = index_->Policy();
        own.files = all.files;
        own.listThreats = all.listThreats;
        const auto add = [&](auto& entries, const auto& from, std::uint32_t number) {
            if (from[number].place.file != 0) entries.push_back(from[number]);
        };
        const auto addAll = [&](auto& entries, const auto& from, const EntryNumbers& numbers) {
            for (const std::uint32_t number : numbers) add(entries, from, number);
        };
        const auto addSites = [&](auto& entries, const auto& from, const std::vector<EntryRef>& found) {
            for (const EntryRef& entry : found) add(entries, from, entry.number);
        };
        addAll(own.whiteLists.webSecurity, all.whiteLists.webSecurity, index_->WebSecurity().Find(asked.hostAndPath));
        addAll(own.whiteLists.webSecurity, all.whiteLists.webSecurity, index_->WebSecurity().Find(asked.addressText));
        addAll(own.whiteLists.browsingProtection, all.whiteLists.browsingProtection,
               index_->BrowsingProtection().Find(asked.hostAndPath));
        addAll(own.whiteLists.user, all.whiteLists.user, index_->UserWhiteList().Find(asked.hostAndPath));
        addSites(own.maliciousSites, all.maliciousSites, index_->FindMalicious(asked.host, asked.path));
        addSites(own.phishingSites, all.phishingSites, index_->FindPhishing(asked.host, asked.path));
        if (const auto site = index_->FindSite(asked.url)) add(own.sites, all.sites, *site);
        addAll(own.maliciousPatterns, all.maliciousPatterns, index_->FindPatterns(asked.host + asked.path));
        addAll(own.inspectedHosts, all.inspectedHosts, index_->FindInspected(asked.host));
    }

    const PolicyIndex* index_;
    std::unique_ptr<const PolicyIndex> edited_;
    const ScanQuestion& question_;
    const policy::FindSid& findSid_;
    bool allows_;
    PolicyVariant variant_;
    std::string first_;  // what is done before
    std::optional<Remedy> found_;
};

}  // namespace

std::optional<Remedy> FindRemedy(const PolicyVariant& policy, const PolicyIndex& index, const ScanQuestion& question,
                                 const Foretold& foretold, const policy::FindSid& findSid) {
    if (question.asked.host.empty()) return std::nullopt;
    const bool allows = foretold.outcome.isVerdict && foretold.outcome.isBlocked;
    Remedies remedies(policy, index, question, findSid, allows);
    if (allows) return remedies.Allow();
    if (foretold.decider && !remedies.TakeOut(*foretold.decider)) return remedies.Found();
    return remedies.Block();
}

}  // namespace tarn::host
