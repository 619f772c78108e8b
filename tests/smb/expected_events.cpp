#include "smb/expected_events.h"

#include <array>
#include <gtest/gtest.h>
#include <tuple>

namespace tarn::smb {
namespace {

constexpr std::uint32_t kStatusPending = 0x103;
constexpr std::size_t kTooManyBytes = 260;
constexpr std::size_t kTooManyUnits = 260;

using IdKey = std::pair<int, std::uint64_t>;                     // version, id
using OwnerKey = std::pair<int, std::uint64_t>;                  // version, session or client
using PlaceKey = std::tuple<int, std::uint64_t, std::uint64_t>;  // version, frame, id
using TreeKey = std::tuple<int, std::uint64_t, std::uint32_t>;   // version, session or client, tree

class Walk {
 public:
    explicit Walk(const std::vector<CapturedCreate>& creates) {
        for (const CapturedCreate& create : creates) {
            byResponse_[{create.version, create.frame, create.id}] = &create;
            byRequest_[{create.version, create.requestFrame, create.id}] = &create;
        }
    }

    void Feed(std::uint64_t frame, const SeenMessage& seen) {
        switch (seen.kind) {
            case MessageKind::kLogoff:
                if (seen.isResponse) trees_.erase({seen.version, seen.owner});
                return;
            case MessageKind::kTreeDisconnect:
                if (seen.isResponse) trees_[{seen.version, seen.owner}].erase(seen.tree);
                return;
            default:
                if (seen.isResponse)
                    FeedResponse(frame, seen);
                else
                    FeedRequest(frame, seen);
        }
    }

    Expectation Finish(const std::vector<CapturedCreate>& creates,
                       const std::vector<std::vector<std::uint8_t>>& frames) {
        for (const CapturedCreate& create : creates) {
            if (create.status != 0) continue;
            const auto known = outcomeOf_.find(&create);
            ++result_.outcomes[known != outcomeOf_.end() ? known->second : OutcomeUnseen(frames[create.frame - 1])];
        }
        return result_;
    }

 private:
    struct Pending {
        MessageKind kind = MessageKind::kCreate;
        std::uint64_t frame = 0;
        std::u16string text;
    };

    static Outcome OutcomeUnseen(base::Bytes response) {
        switch (KindOf(response)) {
            case FrameKind::kNotUntaggedIpv4:
                return Outcome::kNotUntaggedIpv4;
            case FrameKind::kOtherPort:
                return Outcome::kOtherPort;
            default:
                return Outcome::kNotFirstInSegment;
        }
    }

    void FeedRequest(std::uint64_t frame, const SeenMessage& seen) {
        const IdKey key{seen.version, seen.id};
        Pending request{seen.kind, frame, seen.path};
        if (seen.kind == MessageKind::kCreate) {
            const auto create = byRequest_.find({seen.version, frame, seen.id});
            ASSERT_NE(create, byRequest_.end()) << "frame " << frame << " asks and is never answered";
            request.text = create->second->file;
        }
        if (seen.hasNarrowPath)
            lost_[key] = Outcome::kNarrowPath;
        else if (seen.version == 2 && 2 * request.text.size() >= kTooManyBytes)
            lost_[key] = Outcome::kNameTooLong;
        else if (pending_.emplace(key, request).second)
            lost_.erase(key);
        else
            lost_[key] = Outcome::kSharedId;
        EXPECT_LT(request.text.size(), kTooManyUnits) << "frame " << frame << ": no capture has a text to cut";
    }

    void FeedResponse(std::uint64_t frame, const SeenMessage& seen) {
        const IdKey key{seen.version, seen.id};
        const auto create = byResponse_.find({seen.version, frame, seen.id});
        const auto taken = pending_.extract(key);
        if (seen.status != 0) {
            if (seen.status == kStatusPending) lost_[key] = Outcome::kInterim;
            return;
        }
        auto& trees = trees_[{seen.version, seen.owner}];
        if (!taken.empty() && taken.mapped().kind == MessageKind::kTreeConnect) {
            trees.emplace(seen.tree, taken.mapped().text);
            if (create != byResponse_.end()) outcomeOf_[create->second] = Outcome::kSharedId;
        } else if (seen.kind == MessageKind::kTreeConnect) {
            lostTrees_[{seen.version, seen.owner, seen.tree}] = taken.empty() ? WhyLost(key) : Outcome::kSharedId;
        } else if (create != byResponse_.end()) {
            outcomeOf_[create->second] =
                taken.empty() ? WhyLost(key) : Answer(*create->second, seen, taken.mapped(), trees);
        }
    }

    Outcome WhyLost(const IdKey& key) const {
        const auto reason = lost_.find(key);
        return reason != lost_.end() ? reason->second : Outcome::kNotFirstInSegment;
    }

    Outcome WhyUnknown(const SeenMessage& seen, const std::map<std::uint32_t, std::u16string>& trees) const {
        for (const auto& [key, path] : trees)
            if (seen.version == 1 && (key & 0xFFFF) == (seen.tree & 0xFFFF)) return Outcome::kOtherProcess;
        const auto reason = lostTrees_.find({seen.version, seen.owner, seen.tree});
        return reason != lostTrees_.end() ? reason->second : Outcome::kNotFirstInSegment;
    }

    Outcome Answer(const CapturedCreate& create, const SeenMessage& seen, const Pending& request,
                   const std::map<std::uint32_t, std::u16string>& trees) {
        const auto tree = trees.find(seen.tree);
        if (tree == trees.end()) return WhyUnknown(seen, trees);
        if (create.action == 1) return Outcome::kOpened;
        const std::uint16_t action = create.action == 0 ? kActionUntouched : create.action == 2 ? 1 : 2;
        result_.events.push_back({create.frame, {tree->second, request.text, action}});
        const bool isOwn = request.frame == create.requestFrame && tree->second == create.share;
        if (!isOwn) return Outcome::kSharedId;
        return create.action == 0 ? Outcome::kSuperseded : Outcome::kReported;
    }

    std::map<PlaceKey, const CapturedCreate*> byResponse_;
    std::map<PlaceKey, const CapturedCreate*> byRequest_;
    std::map<IdKey, Pending> pending_;
    std::map<IdKey, Outcome> lost_;  // why nothing is pending
    std::map<TreeKey, Outcome> lostTrees_;
    std::map<OwnerKey, std::map<std::uint32_t, std::u16string>> trees_;
    std::map<const CapturedCreate*, Outcome> outcomeOf_;
    Expectation result_;
};

}  // namespace

std::ostream& operator<<(std::ostream& stream, Outcome outcome) {
    constexpr std::array kNames = {"reported",   "superseded",    "opened",     "not untagged IPv4",
                                   "other port", "not first",     "too long",   "interim",
                                   "shared id",  "other process", "narrow path"};
    return stream << kNames[static_cast<std::size_t>(outcome)];
}

Expectation ExpectedOf(const std::vector<CapturedCreate>& creates,
                       const std::vector<std::vector<std::uint8_t>>& frames) {
    Walk walk(creates);
    for (std::size_t i = 0; i < frames.size(); ++i)
        if (const auto seen = FirstMessage(frames[i])) walk.Feed(i + 1, *seen);
    return walk.Finish(creates, frames);
}

}  // namespace tarn::smb
