#include "host/impact/impact_report.h"

#include <algorithm>
#include <fmt/format.h>
#include <iterator>
#include <utility>

#include "host/event.h"
#include "host/expectations/finding.h"
#include "host/printable_text.h"
#include "host/verdict_words.h"

namespace tarn::host {

namespace {

constexpr std::size_t kSampleWidth = 56;
constexpr std::size_t kLeastSampleWidth = 16;

// Of what was asked, so that where it stands fits behind it.
std::size_t SampleWidth(std::size_t columns, std::size_t where) {
    constexpr std::size_t kAround = 13;  // blanks in front and between
    if (columns == 0) return kSampleWidth;
    return std::clamp(columns - std::min(columns, where + kAround), kLeastSampleWidth, kSampleWidth);
}

struct KindWords {
    ChangeKind kind;
    const char* name;   // for programs
    const char* title;  // for people
};
constexpr KindWords kKinds[] = {{ChangeKind::kBlocked, "blocked", "newly blocked"},
                                {ChangeKind::kAllowed, "allowed", "no longer blocked"},
                                {ChangeKind::kReason, "reason", "the same by another reason"}};

const KindWords& WordsOf(ChangeKind kind) {
    return *std::find_if(std::begin(kKinds), std::end(kKinds), [&](const KindWords& one) { return one.kind == kind; });
}

std::string_view NameOf(VerdictState state) {
    switch (state) {
        case VerdictState::kBlocked:
            return "blocked";
        case VerdictState::kAllowed:
            return "allowed";
        case VerdictState::kNone:
            break;
    }
    return "none";
}

// In the place of an unknown entry stands a reason, in no file.
bool IsEntry(const std::optional<DecidingEntry>& decider) {
    return decider && decider->line != 0;
}

Event VerdictMember(const ShortVerdict& verdict, bool isAttack) {
    Event member{{"verdict", NameOf(verdict.state)}};
    if (verdict.state != VerdictState::kNone) {
        member["reason"] = verdict.reason;
        member["reason_text"] = isAttack ? AttackWords(verdict.reason) : ReasonWords(verdict.reason);
    }
    if (IsEntry(verdict.decider)) member["entry"] = EntryMember(*verdict.decider);
    return member;
}

std::string What(const VerdictChange& change) {
    if (change.item == nullptr) return fmt::format("attack: {}", AttackWords(change.before.reason));
    if (change.item->attack != nullptr)
        return fmt::format("attack on local port {}: {}", change.item->attack->local.port,
                           AttackWords(change.after.reason));
    return change.item->request->view.host + change.item->request->view.path;
}

Event EventOf(const VerdictChange& change, const std::string& capture) {
    Event line = BeginEvent("change");
    const JudgedRequest* const request = change.item == nullptr ? nullptr : change.item->request;
    const PacketAttack* const attack = change.item == nullptr ? nullptr : change.item->attack;
    const std::uint64_t time = attack != nullptr                       ? attack->timeNanoseconds
                               : request != nullptr && request->origin ? request->origin->timeNanoseconds
                                                                       : 0;
    if (time != 0) line["time"] = FormatTime(time);
    if (change.frame != 0) {
        line["capture"] = capture;
        line["frame"] = change.frame;
    }
    line["of"] = change.isAttack ? "attack" : "request";
    if (request != nullptr) {
        line["protocol"] = request->protocol->name;
        line["host"] = request->view.host;
        line["path"] = request->view.path;
    }
    line["change"] = WordsOf(change.kind).name;
    line["before"] = VerdictMember(change.before, change.isAttack);
    line["after"] = VerdictMember(change.after, change.isAttack);
    return line;
}

std::string EntryTitle(const ChangeGroup& group) {
    if (group.entry.line != 0) return DescribeEntry(group.entry) + (group.isNew ? "" : " (of the old policy)");
    std::string title = DescribeEntry(group.entry);
    if (title.empty()) title = "no rule decides";
    return title + (group.isNew || group.entry.list.empty() ? "" : " (by the old policy)");
}

const char* Plural(std::uint64_t count) {
    return count == 1 ? "" : "s";
}

}  // namespace

void ImpactReport::Change(const VerdictChange& change, const std::vector<std::string>& captures) {
    const std::string capture = change.capture < captures.size() ? captures[change.capture] : std::string();
    groups_.Add(change,
                {What(change), change.frame == 0 ? std::string() : fmt::format("{}:{}", capture, change.frame)});
    if (style_.json && !style_.quiet) WriteEvent(EventOf(change, capture), out_);
}

void ImpactReport::TextGroups(ChangeKind kind) {
    if (groups_.CountOf(kind) == 0) return;
    out_ << fmt::format("{} {}:\n", Grouped(groups_.CountOf(kind)), WordsOf(kind).title);
    for (const ChangeGroup* group : groups_.Sorted(kind)) {
        out_ << fmt::format("{:>7}  {}\n", Grouped(group->count), Printable(EntryTitle(*group)));
        std::size_t longest = 0;
        for (const ChangeSample& sample : group->samples) longest = std::max(longest, Printable(sample.where).size());
        const std::size_t width = SampleWidth(style_.columns, longest);
        for (const ChangeSample& sample : group->samples)
            out_ << fmt::format("           {}{}{}\n",
                                sample.where.empty() ? Printable(sample.what, width) : Column(sample.what, width),
                                sample.where.empty() ? "" : "  ", Printable(sample.where));
    }
}

void ImpactReport::Summary(const Totals& totals) {
    if (!style_.json) {
        if (!style_.quiet)
            for (const KindWords& kind : kKinds) TextGroups(kind.kind);
        out_ << fmt::format(
            "{} of {} verdict{} would change: {} newly blocked, {} no longer blocked, {} by another "
            "reason\n",
            Grouped(Changes()), Grouped(totals.requests + std::max(totals.attacksBefore, totals.attacksAfter)),
            Plural(totals.requests + std::max(totals.attacksBefore, totals.attacksAfter)),
            Grouped(groups_.CountOf(ChangeKind::kBlocked)), Grouped(groups_.CountOf(ChangeKind::kAllowed)),
            Grouped(groups_.CountOf(ChangeKind::kReason)));
        out_ << fmt::format("judged: {} request{}; frames with an attack: {} before, {} after\n",
                            Grouped(totals.requests), Plural(totals.requests), Grouped(totals.attacksBefore),
                            Grouped(totals.attacksAfter));
        return;
    }
    Event line = BeginEvent("impact");
    line["before"] = totals.before;
    line["after"] = totals.after;
    line["requests"] = totals.requests;
    line["attack_frames_before"] = totals.attacksBefore;
    line["attack_frames_after"] = totals.attacksAfter;
    line["changed"] = Changes();
    for (const KindWords& kind : kKinds) line[fmt::format("changed_{}", kind.name)] = groups_.CountOf(kind.kind);
    line["failed_inputs"] = totals.failedInputs;
    line["groups"] = Event::array();
    for (const KindWords& kind : kKinds)
        for (const ChangeGroup* group : groups_.Sorted(kind.kind)) {
            Event one{{"change", kind.name}, {"count", group->count}};
            if (group->entry.line != 0) {
                one["entry"] = EntryMember(group->entry);
                one["policy"] = group->isNew ? "after" : "before";
            } else if (!group->entry.list.empty()) {
                one["reason_text"] = group->entry.list;
                one["host"] = group->entry.text;
                one["policy"] = group->isNew ? "after" : "before";
            }
            one["samples"] = Event::array();
            for (const ChangeSample& sample : group->samples)
                one["samples"].push_back({{"what", sample.what}, {"where", sample.where}});
            line["groups"].push_back(std::move(one));
        }
    WriteEvent(line, out_);
}

}  // namespace tarn::host
