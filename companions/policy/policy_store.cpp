#include "policy/policy_store.h"

#include <algorithm>
#include <fmt/format.h>

namespace tarn::policy {

namespace {

// How long until a file that was written then is at rest. A time in the future says nothing about rest.
std::uint64_t UntilRest(std::uint64_t written, std::uint64_t now) {
    const std::uint64_t age = now >= written ? now - written : PolicyStore::kRest;
    return age < PolicyStore::kRest ? PolicyStore::kRest - age : 0;
}

std::uint64_t UntilRest(const std::vector<ListState>& lists, std::uint64_t now) {
    std::uint64_t longest = 0;
    for (const ListState& list : lists)
        if (list.error == 0) longest = std::max(longest, UntilRest(list.state.written, now));
    return longest;
}

}  // namespace

// What was read, as the reader of the policy asks for it.
class PolicyStore::ReadLists : public ListFiles {
 public:
    explicit ReadLists(const Reading& reading) : reading_(reading) {}
    std::vector<std::string> Names(const std::string& pattern) override {
        const auto found = reading_.names.find(pattern);
        return found == reading_.names.end() ? std::vector<std::string>() : found->second;
    }
    bool Read(const std::string& name, std::string& text, std::string& whyNot) override {
        if (const auto found = reading_.texts.find(name); found != reading_.texts.end()) {
            text = found->second;
            return true;
        }
        const auto failed = reading_.errors.find(name);
        whyNot = fmt::format("cannot be read (error {})",
                             failed == reading_.errors.end() ? PolicyFile::kNotFound : failed->second);
        return false;
    }

 private:
    const Reading& reading_;
};

void PolicyStore::LookAtLists(PolicyFile& file, Reading& reading) {
    reading.names.clear();
    std::vector<std::string> all;
    for (const std::string& pattern : reading.patterns) {
        std::vector<std::string>& names = reading.names[pattern];
        names = IsPattern(pattern) ? file.ListNames(pattern) : std::vector<std::string>{pattern};
        all.insert(all.end(), names.begin(), names.end());
    }
    std::sort(all.begin(), all.end());
    all.erase(std::unique(all.begin(), all.end()), all.end());
    reading.lists.clear();
    for (std::string& name : all) {
        ListState list{std::move(name)};
        if (!file.LookAtList(list.name, list.state, list.error)) list.state = {};
        reading.lists.push_back(std::move(list));
    }
}

// False when one has changed meanwhile or is being written. What cannot be read otherwise is left to the policy's
// reader, which names it.
bool PolicyStore::ReadTexts(PolicyFile& file, Reading& reading, bool asTheyStand) {
    reading.texts.clear();
    reading.errors.clear();
    for (ListState& list : reading.lists) {
        if (list.error != 0) {
            reading.errors[list.name] = list.error;
            continue;
        }
        FileState state;
        std::string text;
        std::uint32_t error = 0;
        if (!file.ReadList(list.name, text, state, error)) {
            if (error == kSharingViolation) return false;
            reading.errors[list.name] = error;  // of its state, which is not looked at again before it changes
            continue;
        }
        if (state != list.state && !asTheyStand) return false;
        list.state = state;
        reading.texts[list.name] = std::move(text);
    }
    return true;
}

// Reads a state that is not the one that was seen, once it is at rest.
PolicyStore::Look PolicyStore::ReadAtRest(PolicyFile& file, Reading& reading, std::uint32_t& error) const {
    std::uint64_t waited = file.Now() < busyUntil_ ? kMaxWait : 0;  // in vain, a moment ago
    while (true) {
        if (!file.Look(reading.state, error)) return Look::kFailed;
        const bool isSeen = seen_ == reading.state;
        reading.patterns = isSeen ? seenPatterns_ : std::vector<std::string>();
        LookAtLists(file, reading);
        if (isSeen && reading.lists == seenLists_ && (accountsAgain_ == 0 || file.Now() < accountsAgain_))
            return Look::kSame;
        // Without a policy from before, what stands there after the longest wait is better than none.
        const bool asItStands = waited >= kMaxWait && used_ == nullptr;
        std::uint64_t wait =
            std::max(UntilRest(reading.state.written, file.Now()), UntilRest(reading.lists, file.Now()));
        if (wait == 0 || asItStands) {
            FileState read;
            wait = kRest;
            if (file.Read(reading.text, read, error)) {
                if (read == reading.state || asItStands) {
                    reading.state = read;
                    reading.patterns = IncludePatterns(reading.text);
                    LookAtLists(file, reading);
                    const std::uint64_t untilRest = UntilRest(reading.lists, file.Now());
                    if ((untilRest == 0 || asItStands) && ReadTexts(file, reading, asItStands)) return Look::kRead;
                    if (untilRest != 0) wait = untilRest;
                }
            } else if (error != kSharingViolation) {
                return Look::kFailed;
            }
        }
        if (waited >= kMaxWait) return Look::kBusy;
        file.Wait(wait);
        waited += wait;
    }
}

const char* PolicyStore::WhatCounts() const {
    return used_ != nullptr ? "what was read before stays" : "every feature is off";
}

void PolicyStore::SayOnce(PolicyFile& file, std::uint32_t reason, const std::string& lines) {
    if (saidReason_ != reason) file.Say(lines);
    saidReason_ = reason;
}

void PolicyStore::TakeOver(PolicyFile& file, const Reading& reading) {
    const bool isNew = seen_ != reading.state || seenLists_ != reading.lists;
    seen_ = reading.state;
    seenPatterns_ = reading.patterns;
    seenLists_ = reading.lists;
    seenError_ = 0;
    accountsAgain_ = 0;
    saidReason_ = 0;
    ReadLists lists(reading);
    ReadPolicy read = ParsePolicy(
        reading.text,
        [&](const std::string& name, std::array<std::uint8_t, 68>& sid) { return file.FindSid(name, sid); }, &lists);
    std::string lines;
    for (const Mistake& mistake : read.mistakes) lines += Describe(file.Name(), mistake) + "\n";
    for (const Mistake& warning : read.warnings) lines += DescribeWarning(file.Name(), warning) + "\n";
    if (!read.mistakes.empty()) {
        seenError_ = kInvalidData;
        lines += fmt::format("the policy has mistakes and is not used: {}\n", WhatCounts());
    } else if (used_ != nullptr && LosesEverything(*used_, read)) {
        lines = fmt::format(
            "{} sets nothing of what it set before, as after a save that failed: what was read before stays; to switch "
            "a feature off write so, such as browsing_protection = false\n",
            file.Name());
    } else {
        if (read.leavesOutAccounts) accountsAgain_ = file.Now() + kAccountsAgain;
        used_ = std::make_shared<const ReadPolicy>(std::move(read));
    }
    if (isNew && !lines.empty()) file.Say(lines);
}

std::shared_ptr<const Policy> PolicyStore::Get(PolicyFile& file, std::uint32_t& error) {
    Reading reading;
    std::uint32_t failure = 0;
    switch (ReadAtRest(file, reading, failure)) {
        case Look::kSame:
            failure = seenError_;
            saidReason_ = 0;
            break;
        case Look::kRead:
            TakeOver(file, reading);
            failure = seenError_;
            break;
        case Look::kBusy:
            failure = kSharingViolation;
            busyUntil_ = file.Now() + kMaxWait;
            SayOnce(file, failure, fmt::format("{} is being written all the time: {}\n", file.Name(), WhatCounts()));
            break;
        case Look::kFailed:
            SayOnce(file, failure,
                    fmt::format("{}: cannot be read (error {}); {}: put the policy beside the companion modules\n",
                                file.Name(), failure, WhatCounts()));
            break;
    }
    if (used_ != nullptr) return {used_, &used_->policy};
    error = failure;
    return nullptr;
}

}  // namespace tarn::policy
