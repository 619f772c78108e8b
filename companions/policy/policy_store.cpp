#include "policy/policy_store.h"

#include <fmt/format.h>

namespace tarn::policy {

// Reads a file that is not the one that was seen, once it is at rest. A time in the future says nothing about rest.
PolicyStore::Look PolicyStore::ReadAtRest(PolicyFile& file, std::string& text, FileState& state,
                                          std::uint32_t& error) const {
    std::uint64_t waited = file.Now() < busyUntil_ ? kMaxWait : 0;  // in vain, a moment ago
    while (true) {
        if (!file.Look(state, error)) return Look::kFailed;
        if (seen_ == state && (accountsAgain_ == 0 || file.Now() < accountsAgain_)) return Look::kSame;
        const std::uint64_t now = file.Now();
        const std::uint64_t age = now >= state.written ? now - state.written : kRest;
        std::uint64_t wait = age < kRest ? kRest - age : 0;
        // Without a policy from before, what stands there after the longest wait is better than none.
        if (wait == 0 || (waited >= kMaxWait && used_ == nullptr)) {
            FileState read;
            if (file.Read(text, read, error)) {
                if (read == state || (waited >= kMaxWait && used_ == nullptr)) {
                    state = read;
                    return Look::kRead;
                }
            } else if (error != kSharingViolation) {
                return Look::kFailed;
            }
            wait = kRest;
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

void PolicyStore::TakeOver(PolicyFile& file, const std::string& text, const FileState& state) {
    const bool isNew = seen_ != state;
    seen_ = state;
    seenError_ = 0;
    accountsAgain_ = 0;
    saidReason_ = 0;
    ReadPolicy read = ParsePolicy(
        text, [&](const std::string& name, std::array<std::uint8_t, 68>& sid) { return file.FindSid(name, sid); });
    std::string lines;
    for (const Mistake& mistake : read.mistakes) lines += Describe(kPolicyFile, mistake) + "\n";
    for (const Mistake& warning : read.warnings) lines += DescribeWarning(kPolicyFile, warning) + "\n";
    if (!read.mistakes.empty()) {
        seenError_ = kInvalidData;
        lines += fmt::format("the policy has mistakes and is not used: {}\n", WhatCounts());
    } else if (used_ != nullptr && LosesEverything(*used_, read)) {
        lines = fmt::format(
            "{} sets nothing of what it set before, as after a save that failed: what was read before stays; to switch "
            "a feature off write so, such as browsing_protection = false\n",
            kPolicyFile);
    } else {
        if (!read.warnings.empty()) accountsAgain_ = file.Now() + kAccountsAgain;
        used_ = std::make_shared<const ReadPolicy>(std::move(read));
    }
    if (isNew && !lines.empty()) file.Say(lines);
}

std::shared_ptr<const Policy> PolicyStore::Get(PolicyFile& file, std::uint32_t& error) {
    std::string text;
    FileState state;
    std::uint32_t failure = 0;
    switch (ReadAtRest(file, text, state, failure)) {
        case Look::kSame:
            failure = seenError_;
            saidReason_ = 0;
            break;
        case Look::kRead:
            TakeOver(file, text, state);
            failure = seenError_;
            break;
        case Look::kBusy:
            failure = kSharingViolation;
            busyUntil_ = file.Now() + kMaxWait;
            SayOnce(file, failure, fmt::format("{} is being written all the time: {}\n", kPolicyFile, WhatCounts()));
            break;
        case Look::kFailed:
            SayOnce(file, failure,
                    fmt::format("{}: cannot be read (error {}); {}: put the policy beside the companion modules\n",
                                kPolicyFile, failure, WhatCounts()));
            break;
    }
    if (used_ != nullptr) return {used_, &used_->policy};
    error = failure;
    return nullptr;
}

}  // namespace tarn::policy
