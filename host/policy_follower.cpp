#include "host/policy_follower.h"

#include <fmt/format.h>
#include <set>
#include <utility>

#include "host/event.h"
#include "host/file_path.h"
#include "host/list_files.h"
#include "host/policy_check.h"
#include "host/policy_file.h"
#include "host/printable_text.h"

namespace tarn::host {

namespace {

Event BeginPolicyEvent(const char* what, const std::string& file) {
    Event event = BeginEvent("policy");
    event["event"] = what;
    event["file"] = file;
    return event;
}

std::string CountedMistakes(std::size_t count) {
    return fmt::format("{} mistake{}", count, count == 1 ? "" : "s");
}

}  // namespace

bool PolicyFollower::Begin(std::string& mistake) {
    const auto text = ReadPolicyText(file_);
    if (!text) {
        mistake =
            fmt::format("{}: cannot be read, and watch follows the policy; name it: --policy FILE", Printable(file_));
        return false;
    }
    const auto read = SharePolicyFile(file_, findSid_);
    if (read && read->mistakes.empty()) {
        usedText_ = *text;
        patterns_ = policy::IncludePatterns(*text);
        seen_ = {usedText_, ListFilesOnDisk(file_).StateOf(patterns_)};
        used_ = read;
        return true;
    }
    const std::vector<policy::Mistake> mistakes = read ? read->mistakes : std::vector<policy::Mistake>();
    mistake =
        fmt::format("{} has {}, so none of it would be used:", Printable(file_), CountedMistakes(mistakes.size()));
    for (const policy::Mistake& one : mistakes) mistake += "\n  " + Printable(policy::Describe(FileName(), one));
    return false;
}

policy::ReadPolicy PolicyFollower::Parse(const std::string& text) const {
    ListFilesOnDisk lists(file_);
    policy::ReadPolicy read = policy::ParsePolicy(text, findSid_, &lists);
    read.policy.files.front() = FileName();
    return read;
}

PolicyFollower::Look PolicyFollower::LookNow() const {
    Look look{ReadPolicyText(file_), {}};
    if (!look.text) return look;
    look.lists =
        ListFilesOnDisk(file_).StateOf(look.text == seen_.text ? patterns_ : policy::IncludePatterns(*look.text));
    return look;
}

std::vector<std::string> PolicyFollower::ListFolders() const {
    return ListFilesOnDisk(file_).FoldersOf(patterns_);
}

bool PolicyFollower::ReadAtRest(Look& look) const {
    look = LookNow();
    if (look == seen_) return true;
    for (int i = 0; i < kMaxPauses; ++i) {
        pause_(kRest);
        Look again = LookNow();
        if (again == look) return true;
        look = std::move(again);
    }
    return false;
}

bool PolicyFollower::Follow(Judge& library) {
    Look look;
    if (!ReadAtRest(look)) {
        PrintKept("being_written", "is being written all the time");
        return false;
    }
    if (!look.text) {
        if (isReadable_) PrintKept("missing", "cannot be read");
        isReadable_ = false;
        seen_ = {"", ""};
        return false;
    }
    isReadable_ = true;
    if (look == seen_) return false;
    const std::string& text = *look.text;
    patterns_ = policy::IncludePatterns(text);
    seen_ = look;
    policy::ReadPolicy read = Parse(text);
    if (!read.mistakes.empty()) {
        PrintMistakes(read.mistakes);
        return false;
    }
    if (policy::LosesEverything(*used_, read)) {
        PrintKept("lost_everything",
                  "sets nothing of what it set before, as after a save that failed (to switch a feature off write so, "
                  "such as browsing_protection = false)");
        return false;
    }
    const auto before = std::exchange(used_, std::make_shared<const policy::ReadPolicy>(std::move(read)));
    const PolicyChanges changes = ComparePolicies(usedText_, text, before->lists, used_->lists);
    usedText_ = text;
    std::vector<SentNotice> notices;
    for (const std::uint32_t kind : changes.kinds)
        notices.push_back({fmt::format("WSSettingsChanged({})", kind), library.SettingsChanged(kind)});
    if (changes.updated != 0)
        notices.push_back({fmt::format("WSUpdateSettingsChanged({:#x})", changes.updated),
                           library.UpdateSettingsChanged(changes.updated)});
    PrintChanges(changes, notices);
    PrintNewFindings(*before);
    return !notices.empty();
}

std::string PolicyFollower::FileName() const {
    return FromPath(ToPath(file_).filename());
}

void PolicyFollower::PrintKept(const char* why, const char* text) {
    beforeText_();
    if (json_) {
        Event event = BeginPolicyEvent("kept", FileName());
        event["why"] = why;
        event["text"] = text;
        WriteEvent(event, out_);
    } else {
        out_ << fmt::format("\n{} {}; what was read before stays\n", Printable(FileName()), text);
    }
    out_.flush();
}

void PolicyFollower::PrintMistakes(const std::vector<policy::Mistake>& mistakes) {
    const std::string count = CountedMistakes(mistakes.size());
    if (json_)
        for (const policy::Mistake& mistake : mistakes) WriteEvent(MistakeEvent("mistake", FileName(), mistake), out_);
    PrintKept("mistakes", ("has " + count).c_str());
    if (!json_)
        for (const policy::Mistake& mistake : mistakes)
            out_ << "  " << Printable(policy::Describe(FileName(), mistake)) << '\n';
    out_.flush();
}

void PolicyFollower::PrintNewFindings(const policy::ReadPolicy& before) {
    const auto textsOf = [](const std::vector<policy::Finding>& findings) {
        std::set<std::string> texts;
        for (const policy::Finding& finding : findings) texts.insert(finding.text);
        return texts;
    };
    if (!usedFindings_) usedFindings_ = textsOf(policy::LintPolicy(before, asciiHost_));
    const std::vector<policy::Finding> findings = policy::LintPolicy(*used_, asciiHost_);
    const auto known = std::exchange(usedFindings_, textsOf(findings));
    for (const policy::Finding& finding : findings) {
        if (known->contains(finding.text)) continue;
        if (json_)
            WriteEvent(MistakeEvent("warning", used_->policy.files.at(finding.place.file),
                                    {finding.place.line, 0, finding.text}),
                       out_);
        else
            out_ << "  " << Printable(policy::DescribeFinding(used_->policy, finding)) << '\n';
    }
    out_.flush();
}

void PolicyFollower::PrintChanges(const PolicyChanges& changes, const std::vector<SentNotice>& notices) {
    beforeText_();
    if (json_) {
        Event event = BeginPolicyEvent("changed", FileName());
        event["changes"] = Event::array();
        for (const PolicyChange& change : changes.changes) {
            Event one = {{"key", change.key}, {"before", change.before}, {"after", change.after}};
            if (CountsAtRestart(change)) one["at_restart"] = true;
            event["changes"].push_back(std::move(one));
        }
        event["notices"] = Event::array();
        for (const SentNotice& notice : notices)
            event["notices"].push_back({{"call", notice.call}, {"succeeded", notice.succeeded}});
        WriteEvent(event, out_);
    } else {
        out_ << fmt::format("\n{} has changed{}\n", Printable(FileName()),
                            changes.changes.empty() ? ", but says the same" : "");
        for (const PolicyChange& change : changes.changes) out_ << "  " << Printable(DescribeChange(change)) << '\n';
        for (const SentNotice& notice : notices)
            out_ << fmt::format(
                "  {} {}\n", notice.call,
                notice.succeeded ? "taken over" : "FAILED; the setting may be off until the next change");
        if (notices.empty() && !changes.changes.empty()) out_ << "  nothing of this needs a notice\n";
    }
    out_.flush();
}

}  // namespace tarn::host
