#include "host/serve/pages/status_feed.h"

#include <algorithm>
#include <fmt/format.h>
#include <utility>

namespace tarn::host::serve {

namespace {

std::string TextOf(const Event& event, const char* key) {
    const auto found = event.find(key);
    return found != event.end() && found->is_string() ? found->get<std::string>() : std::string();
}

bool HasLongText(const Event& value) {
    if (value.is_string()) return value.get_ref<const std::string&>().size() > StatusFeed::kLongestText;
    return value.is_structured() && std::any_of(value.begin(), value.end(), HasLongText);
}

// In place, in members of members, too.
void CutTexts(Event& value) {
    if (value.is_string()) {
        auto& text = value.get_ref<std::string&>();
        if (text.size() <= StatusFeed::kLongestText) return;
        text.resize(StatusFeed::kLongestText);
        text += "…";
    } else if (value.is_structured()) {
        for (Event& member : value) CutTexts(member);
    }
}

// As server-sent events have it.
std::string MessageOf(const Event& event) {
    return fmt::format("event: {}\ndata: {}\n\n", TextOf(event, "type"), EventLine(event));
}

// As the page counts it: those of one host together, whatever port was asked for. What is no port stays.
std::string SiteOf(const std::string& host) {
    const std::size_t colon = host.rfind(':');
    if (colon == std::string::npos || colon == 0) return host;
    const bool isPort = host.find_first_not_of("0123456789", colon + 1) == std::string::npos;
    const bool isBareIpv6 = host.front() != '[' && host.find(':') != colon;
    const bool isInBrackets = host.front() == '[' && host[colon - 1] != ']';
    return isPort && !isBareIpv6 && !isInBrackets ? host.substr(0, colon) : host;
}

}  // namespace

void StatusFeed::Add(const SharedEvent& event) {
    const std::string type = TextOf(*event, "type");
    if (type != "verdict" && type != "policy" && type != "not_examined") return;
    SharedEvent shown = event;
    if (HasLongText(*event)) {
        Event cut = *event;
        CutTexts(cut);
        shown = std::make_shared<const Event>(std::move(cut));
    }
    std::vector<std::shared_ptr<StatusReader>> woken;
    {
        const std::lock_guard lock(mutex_);
        if (type == "verdict")
            CountVerdict(*shown);
        else if (type == "policy")
            TakePolicy(*shown);
        kept_.push_back({nextNumber_++, std::move(shown)});
        if (kept_.size() > kKeptEvents) kept_.pop_front();
        for (const auto& one : readers_)
            if (auto reader = one.lock(); reader && std::exchange(reader->isWaiting_, false))
                woken.push_back(std::move(reader));
    }
    for (const auto& reader : woken) reader->wake_();
}

void StatusFeed::CountVerdict(const Event& event) {
    const std::string verdict = TextOf(event, "verdict");
    if (verdict != "blocked" && verdict != "allowed" && verdict != "none") return;
    const bool isRefused = verdict != "blocked" && !event.value("passed", true);
    ++verdicts_[isRefused ? "refused" : verdict];
    if (verdict != "blocked") return;
    const auto reason = event.find("reason");
    if (reason != event.end() && reason->is_number_unsigned() && reasons_.size() < kMostNotes) {
        Reason& counted = reasons_[reason->get<std::uint32_t>()];
        ++counted.count;
        counted.text = TextOf(event, "reason_text");
    }
    if (const std::string host = TextOf(event, "host"); !host.empty()) CountSite(SiteOf(host));
}

void StatusFeed::CountSite(const std::string& host) {
    if (const auto found = sites_.find(host); found != sites_.end()) {
        ++found->second;
        return;
    }
    std::uint64_t inherited = 0;
    if (sites_.size() >= kMostSites) {
        // The newcomer takes the count over, so that what comes often enough stays, however many others come once.
        const auto rarest = std::min_element(sites_.begin(), sites_.end(),
                                             [](const auto& a, const auto& b) { return a.second < b.second; });
        inherited = rarest->second;
        sites_.erase(rarest);
    }
    sites_.emplace(host, inherited + 1);
}

void StatusFeed::TakePolicy(const Event& event) {
    const std::string what = TextOf(event, "event");
    const auto note = [&](std::vector<Event>& notes) {
        if (notes.size() < kMostNotes) notes.push_back(event);
    };
    if (what == "used" || what == "changed") {
        policyFile_ = TextOf(event, "file");
        isPolicyKept_ = false;
        mistakes_.clear();
        warnings_.clear();
        for (const Event& change : event.value("changes", Event::array()))
            if (change.value("at_restart", false)) waitsForRestart_ = true;
    } else if (what == "kept") {
        if (TextOf(event, "why") != "mistakes") mistakes_.clear();
        isPolicyKept_ = true;
        whyKept_ = TextOf(event, "text");
    } else if (what == "mistake") {
        if (isPolicyKept_) mistakes_.clear();  // of the text before
        isPolicyKept_ = false;
        note(mistakes_);
    } else if (what == "warning") {
        note(warnings_);
    }
}

Event StatusFeed::State() const {
    const std::lock_guard lock(mutex_);
    const auto count = [this](const char* verdict) {
        const auto found = verdicts_.find(verdict);
        return found == verdicts_.end() ? std::uint64_t{0} : found->second;
    };
    Event state;
    state["blocked"] = count("blocked");
    state["allowed"] = count("allowed");
    state["none"] = count("none");
    state["refused"] = count("refused");
    state["reasons"] = Event::array();
    for (const auto& [number, reason] : reasons_)
        state["reasons"].push_back({{"reason", number}, {"reason_text", reason.text}, {"count", reason.count}});
    std::vector<std::pair<std::string, std::uint64_t>> most(sites_.begin(), sites_.end());
    std::stable_sort(most.begin(), most.end(), [](const auto& a, const auto& b) { return a.second > b.second; });
    if (most.size() > kShownSites) most.resize(kShownSites);
    state["sites"] = Event::array();
    for (const auto& [host, blocked] : most) state["sites"].push_back({{"host", host}, {"count", blocked}});
    state["policy"] = {
        {"file", policyFile_}, {"kept", isPolicyKept_}, {"mistakes", mistakes_}, {"warnings", warnings_}};
    if (isPolicyKept_) state["policy"]["text"] = whyKept_;
    if (waitsForRestart_) state["policy"]["at_restart"] = true;
    return state;
}

std::shared_ptr<StatusReader> StatusFeed::Open(std::function<void()> wake) {
    auto reader = std::make_shared<StatusReader>(*this, std::move(wake));
    const std::lock_guard lock(mutex_);
    std::erase_if(readers_, [](const auto& one) { return one.expired(); });
    if (readers_.size() >= kMostReaders) return nullptr;
    reader->next_ = kept_.empty() ? nextNumber_ : kept_.front().number;
    readers_.push_back(reader);
    return reader;
}

std::string StatusReader::Take() {
    std::string text;
    std::vector<SharedEvent> taken;
    {
        const std::lock_guard lock(feed_.mutex_);
        if (!feed_.kept_.empty()) {
            const std::uint64_t first = feed_.kept_.front().number;
            if (first > next_) text = fmt::format("event: skipped\ndata: {}\n\n", first - next_);
            for (const StatusFeed::Kept& one : feed_.kept_)
                if (one.number >= next_) taken.push_back(one.event);
        }
        next_ = feed_.nextNumber_;
        isWaiting_ = true;
    }
    for (const SharedEvent& event : taken) text += MessageOf(*event);
    return text;
}

}  // namespace tarn::host::serve
