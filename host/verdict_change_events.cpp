#include "host/verdict_change_events.h"

#include <initializer_list>

namespace tarn::host {

namespace {

constexpr const char* kBlocked = "blocked";

std::string Dump(const Event& value) {
    return value.dump(-1, ' ', false, Event::error_handler_t::replace);
}

Event Members(const Event& event, std::initializer_list<const char*> names) {
    Event members = Event::object();
    for (const char* name : names)
        if (event.contains(name)) members[name] = event[name];
    return members;
}

const char* KindOf(const Event& before, const Event& after) {
    if (before["verdict"] == after["verdict"]) return "reason";
    if (after["verdict"] == kBlocked) return kBlocked;
    return before["verdict"] == kBlocked ? "allowed" : "reason";
}

}  // namespace

void VerdictChangeEvents::BeginRound() {
    isFirstRound_ = !IsUsed();
    requests_.BeginRound();
    attacks_.BeginRound();
}

void VerdictChangeEvents::BeginCapture() {
    requests_.BeginCapture();
    attacks_.BeginCapture();
}

std::uint32_t VerdictChangeEvents::NumberOf(const Event& shortVerdict) {
    const auto [at, isNew] = numbers_.try_emplace(Dump(shortVerdict), static_cast<std::uint32_t>(verdicts_.size()));
    if (isNew) verdicts_.push_back(shortVerdict);
    return at->second;
}

std::optional<Event> VerdictChangeEvents::Request(const Event& verdict) {
    return Compare(verdict, Dump(Members(verdict, {"frame", "protocol", "host", "path"})), "request", requests_);
}

std::optional<Event> VerdictChangeEvents::Attack(const Event& attack) {
    return Compare(attack, Dump(Members(attack, {"frame"})), "attack", attacks_);
}

std::optional<Event> VerdictChangeEvents::Compare(const Event& event, const std::string& what, const char* of,
                                                  RowHistory& history) {
    const Event after = Members(event, {"verdict", "reason", "reason_text", "entry"});
    // An entry that moved to another line is no change.
    const RowHistory::News news =
        history.Add(what, Dump(Members(event, {"verdict", "reason"})), "judged", NumberOf(after));
    if (isFirstRound_ || !news.isNew) return std::nullopt;
    const Event before = news.stateBefore.empty() ? Event{{"verdict", "none"}} : verdicts_[news.deciderBefore];
    Event change = BeginEvent("change");
    change.update(Members(event, {"time", "capture", "frame"}));
    change["of"] = of;
    change.update(Members(event, {"protocol", "host", "path"}));
    change["change"] = KindOf(before, after);
    change["before"] = before;
    change["after"] = after;
    return change;
}

}  // namespace tarn::host
