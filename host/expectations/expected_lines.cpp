#include "host/expectations/expected_lines.h"

#include <algorithm>
#include <fmt/format.h>
#include <iterator>

namespace tarn::host {

namespace {

using Object = ExpectedLines::Object;

constexpr std::string_view kCompared[] = {"verdict", "attack", "file"};
constexpr std::string_view kTotals = "stats";
// Where a line belongs, and what is another one in every run.
constexpr std::string_view kNotCompared[] = {"type", "version", "written", "time", "capture", "frame", "latency_ns"};

template <class List>
bool IsIn(const List& list, std::string_view text) {
    return std::find(std::begin(list), std::end(list), text) != std::end(list);
}

std::string TextOf(const Object& object, const char* key) {
    const auto found = object.find(key);
    return found != object.end() && found->is_string() ? found->get<std::string>() : std::string();
}

std::uint64_t FrameOf(const Object& object) {
    const auto found = object.find("frame");
    return found != object.end() && found->is_number_unsigned() ? found->get<std::uint64_t>() : 0;
}

std::string TypeOf(const Object& object) {
    return object.contains("type") ? TextOf(object, "type") : std::string("verdict");
}

std::string KeyOf(std::string_view type, std::string_view capture, std::uint64_t frame) {
    return fmt::format("{}/{}/{}", type, frame, capture);
}

std::uint64_t CountIn(const Object& object, const char* key) {
    const auto found = object.find(key);
    return found != object.end() && found->is_number_unsigned() ? found->get<std::uint64_t>() : 0;
}

// What the totals of a run count apart.
std::string KindOf(const Object& line) {
    std::string type = TypeOf(line);
    if (type != "verdict") return type;
    return line.contains("reason") ? fmt::format("{}/{}", type, CountIn(line, "reason")) : type;
}

DecidingEntry EntryOf(const Object& object) {
    DecidingEntry entry{TextOf(object, "list"), TextOf(object, "text"), TextOf(object, "file"), 0};
    if (const auto line = object.find("line"); line != object.end() && line->is_number_unsigned())
        entry.line = line->get<std::uint32_t>();
    return entry;
}

// An entry is the same wherever it stands: lines move when a policy is edited. A text may name it in any way.
bool IsSameEntry(const Object& expected, const Object& found) {
    if (!found.is_object()) return expected == found;
    const DecidingEntry entry = EntryOf(found);
    if (expected.is_string())
        return AreSame(Compare({"", {}, "", expected.get<std::string>()}, {"", {}, "", entry, ""}));
    if (!expected.is_object()) return false;
    const DecidingEntry wanted = EntryOf(expected);
    return wanted.list == entry.list && wanted.text == entry.text;
}

std::string Shown(const Object& value) {
    if (value.is_string()) return value.get<std::string>();
    if (value.is_object() && value.contains("list")) return DescribeEntry(EntryOf(value));
    return value.is_null() ? "none" : value.dump(-1, ' ', false, Object::error_handler_t::replace);
}

// Members of a member that nobody expects do not count.
bool HasMembers(const Object& expected, const Object& found) {
    if (!expected.is_object() || !found.is_object()) return expected == found;
    for (const auto& [key, value] : expected.items())
        if (!found.contains(key) || found[key] != value) return false;
    return true;
}

std::vector<Comparison> CompareMembers(const Object& expected, const Object& found) {
    std::vector<Comparison> compared;
    for (const auto& [key, value] : expected.items()) {
        const Object other = found.contains(key) ? found[key] : Object();
        const bool isSame = key == "entry" ? IsSameEntry(value, other) : HasMembers(value, other);
        compared.push_back({key, Shown(value), Shown(other), isSame});
    }
    return compared;
}

}  // namespace

bool IsComparedType(std::string_view type) {
    return IsIn(kCompared, type);
}

bool ExpectedLines::Read(std::istream& input, std::string& mistake) {
    std::uint64_t number = 0;
    for (std::string text; std::getline(input, text);) {
        ++number;
        if (text.find_first_not_of(" \t\r") == std::string::npos) continue;
        const Object line = Object::parse(text, nullptr, false);
        if (!line.is_object()) {
            mistake = fmt::format("line {} is no JSON object", number);
            return false;
        }
        const std::string type = TypeOf(line);
        if (type == kTotals) AddTotals(line);
        if (!IsComparedType(type)) continue;
        if (FrameOf(line) == 0) {
            mistake =
                fmt::format("line {} has no \"frame\", a number from 1 on; replay --json writes such a file", number);
            return false;
        }
        Add(line, number);
    }
    if (lines_.empty() && !isWhole_) mistake = "it holds nothing that is expected";
    return mistake.empty();
}

void ExpectedLines::Add(const Object& line, std::uint64_t number) {
    ExpectedLine expected{TypeOf(line), TextOf(line, "capture"), FrameOf(line), number, {}, false};
    Object rest = Object::object();
    for (const auto& [key, value] : line.items())
        if (!IsIn(kNotCompared, key)) rest[key] = value;
    expected.rest = rest.dump(-1, ' ', false, Object::error_handler_t::replace);
    types_.insert(expected.type);
    captures_.insert(expected.capture);
    ++listed_[KindOf(line)];
    byFrame_[KeyOf(expected.type, expected.capture, expected.frame)].push_back(lines_.size());
    lines_.push_back(std::move(expected));
}

void ExpectedLines::AddTotals(const Object& stats) {
    isWhole_ = true;
    totals_["verdict"] += CountIn(stats, "without_verdict");
    totals_["attack"] += CountIn(stats, "attack_frames");
    totals_["file"] += CountIn(stats, "files");
    const auto reasons = stats.find("by_reason");
    if (reasons == stats.end() || !reasons->is_object()) return;
    for (const auto& [reason, count] : reasons->items())
        if (count.is_number_unsigned()) totals_["verdict/" + reason] += count.get<std::uint64_t>();
}

bool ExpectedLines::ListsAllLike(const Object& found) const {
    if (!isWhole_) return false;
    const std::string kind = KindOf(found);
    const auto total = totals_.find(kind);
    const auto listed = listed_.find(kind);
    return total == totals_.end() || (listed == listed_.end() ? 0 : listed->second) >= total->second;
}

std::uint64_t ExpectedLines::LeftOut() const {
    std::uint64_t count = 0;
    for (const auto& [kind, total] : totals_) {
        const auto listed = listed_.find(kind);
        count += total - std::min(total, listed == listed_.end() ? 0 : listed->second);
    }
    return count;
}

bool ExpectedLines::Has(const std::string& capture) const {
    return captures_.contains(capture) || captures_.contains(std::string());
}

bool ExpectedLines::Wants(std::string_view type) const {
    return isWhole_ || types_.contains(type);
}

LineMatch ExpectedLines::Take(const Object& found, std::vector<Comparison>& compared, const ExpectedLine*& expected) {
    const std::string type = TypeOf(found);
    const std::uint64_t frame = FrameOf(found);
    for (const std::string& capture : {TextOf(found, "capture"), std::string()}) {
        const auto of = byFrame_.find(KeyOf(type, capture, frame));
        if (of == byFrame_.end()) continue;
        for (const std::size_t index : of->second) {
            ExpectedLine& line = lines_[index];
            if (line.isFound) continue;
            const Object rest = Object::parse(line.rest);
            // Several requests may begin in one frame; one of another protocol is another request.
            if (rest.contains("protocol") && found.contains("protocol") && rest["protocol"] != found["protocol"])
                continue;
            line.isFound = true;
            expected = &line;
            compared = CompareMembers(rest, found);
            return AreSame(compared) ? LineMatch::kSame : LineMatch::kDifferent;
        }
    }
    return LineMatch::kExtra;
}

std::vector<const ExpectedLine*> ExpectedLines::Missing() const {
    std::vector<const ExpectedLine*> missing;
    for (const ExpectedLine& line : lines_)
        if (!line.isFound) missing.push_back(&line);
    return missing;
}

}  // namespace tarn::host
