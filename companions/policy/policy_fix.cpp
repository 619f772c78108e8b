#include "policy/policy_fix.h"

#include <algorithm>
#include <iterator>
#include <toml++/toml.h>

#include "base/text.h"
#include "policy/section.h"

namespace tarn::policy {
namespace {

// A text of the file, as a repair names it.
struct Spot {
    std::string key;         // whole name
    std::uint32_t line = 0;  // of the table that holds the key, of the text itself in a list
    std::string text;
    std::size_t at = 0;    // of its first quote
    bool isTaken = false;  // by a repair
};

// A piece of the file that is replaced.
struct Edit {
    std::size_t at;
    std::size_t length;
    std::string text;
    const Finding* finding = nullptr;  // that it repairs
};

// Where a line and a column of the reader stand in the text; its columns count characters, not bytes.
class Positions {
 public:
    explicit Positions(std::string_view text) : text_(text), lines_{text.starts_with("\xEF\xBB\xBF") ? 3U : 0U} {
        for (std::size_t i = 0; i < text.size(); ++i)
            if (text[i] == '\n') lines_.push_back(i + 1);
    }
    [[nodiscard]] std::size_t Of(const toml::source_position& place) const {
        if (place.line == 0 || place.line > lines_.size()) return text_.size();
        std::size_t at = lines_[place.line - 1];
        for (std::uint32_t column = 1; column < place.column && at < text_.size(); ++column) {
            ++at;
            while (at < text_.size() && (static_cast<unsigned char>(text_[at]) & 0xC0U) == 0x80) ++at;
        }
        return at;
    }

 private:
    std::string_view text_;
    std::vector<std::size_t> lines_;
};

void CollectSpots(const toml::table& table, const std::string& prefix, const Positions& positions,
                  std::vector<Spot>& spots) {
    const std::uint32_t tableLine = PlaceOf(table).line;
    const auto add = [&](const std::string& key, std::uint32_t line, const toml::node& node) {
        if (const auto* text = node.as_string())
            spots.push_back({key, line, text->get(), positions.Of(node.source().begin)});
    };
    for (const auto& [name, value] : table) {
        const std::string key = prefix + std::string(name.str());
        add(key, tableLine, value);
        if (const toml::table* inner = value.as_table()) CollectSpots(*inner, key + ".", positions, spots);
        if (const toml::array* array = value.as_array())
            for (const toml::node& item : *array) {
                add(key, PlaceOf(item).line, item);
                if (const toml::table* inner = item.as_table()) CollectSpots(*inner, key + ".", positions, spots);
            }
    }
}

// The length of the text with its quotes that stands at a place; 0 when it is not written as it reads.
std::size_t QuotedLength(std::string_view file, const Spot& spot) {
    if (spot.at >= file.size() || (file[spot.at] != '"' && file[spot.at] != '\'')) return 0;
    const std::string_view rest = file.substr(spot.at);
    const std::size_t length = spot.text.size() + 2;
    const bool isPlain = rest.size() >= length && rest.substr(1, spot.text.size()) == spot.text &&
                         rest[length - 1] == rest[0] && rest.find('\\') >= length;
    return isPlain ? length : 0;
}

std::string_view Trimmed(std::string_view line) {
    const std::size_t first = line.find_first_not_of(" \t\r\n");
    if (first == std::string_view::npos) return {};
    return line.substr(first, line.find_last_not_of(" \t\r\n") - first + 1);
}

std::size_t StartOfLine(std::string_view file, std::size_t at) {
    const std::size_t before = at == 0 ? std::string_view::npos : file.rfind('\n', at - 1);
    return before == std::string_view::npos ? 0 : before + 1;
}

// Behind the line break.
std::size_t EndOfLine(std::string_view file, std::size_t at) {
    const std::size_t end = file.find('\n', at);
    return end == std::string_view::npos ? file.size() : end + 1;
}

// A text of a list with its comma; the whole line when nothing else stands there.
Edit WithoutItem(std::string_view file, std::size_t at, std::size_t length) {
    std::size_t end = at + length;
    const std::size_t behind = std::min(file.find_first_not_of(" \t", end), file.size());
    if (behind < file.size() && file[behind] == ',') {
        end = std::min(file.find_first_not_of(" \t", behind + 1), file.size());
    } else {
        const std::size_t before = file.substr(0, at).find_last_not_of(" \t");
        if (before != std::string_view::npos && file[before] == ',') at = before;
    }
    const std::size_t start = StartOfLine(file, at);
    const std::size_t lineEnd = EndOfLine(file, end);
    const bool isAlone =
        Trimmed(file.substr(start, at - start)).empty() && Trimmed(file.substr(end, lineEnd - end)).empty();
    if (isAlone) return {start, lineEnd - start, "", nullptr};
    return {at, end - at, "", nullptr};
}

// New text for a spot; nothing when it is not written plainly.
std::optional<Edit> EditOf(std::string_view file, const Spot& spot, const Repair& repair) {
    const std::size_t length = QuotedLength(file, spot);
    if (length == 0) return std::nullopt;
    if (!repair.to) return WithoutItem(file, spot.at, length);
    if (repair.to->find_first_of("\"'\\") != std::string::npos) return std::nullopt;
    return Edit{spot.at + 1, length - 2, *repair.to, nullptr};
}

// The spot that a repair means. Of equal texts in one line the first is changed, and the last goes away.
template <class Iterator>
Spot* FindSpot(Iterator first, Iterator last, const Repair& repair) {
    const auto found = std::find_if(first, last, [&repair](const Spot& spot) {
        return !spot.isTaken && spot.line == repair.place.line && spot.key == repair.key &&
               base::EqualIgnoringCase(spot.text, repair.from);
    });
    return found == last ? nullptr : &*found;
}

// The findings of the edits that were made go to repaired.
std::string Applied(std::string_view file, std::vector<Edit> edits, std::vector<Finding>& repaired) {
    std::sort(edits.begin(), edits.end(), [](const Edit& a, const Edit& b) { return a.at > b.at; });
    std::string text(file);
    std::size_t end = text.size() + 1;
    for (const Edit& edit : edits) {
        if (edit.at + edit.length > end) continue;  // of two that overlap the later one; the next round has the other
        text.replace(edit.at, edit.length, edit.text);
        end = edit.at;
        repaired.push_back(*edit.finding);
    }
    std::reverse(repaired.begin(), repaired.end());
    return text;
}

// The text after one round, and which of the findings it repaired.
std::string OneRound(const std::string& file, const std::vector<Finding>& findings, std::vector<Finding>& repaired) {
    std::vector<Spot> spots;
    const toml::table table = toml::parse(file);
    CollectSpots(table, "", Positions(file), spots);
    std::sort(spots.begin(), spots.end(), [](const Spot& a, const Spot& b) { return a.at < b.at; });
    std::vector<Edit> edits;
    for (const Finding& finding : findings) {
        if (!finding.repair || finding.repair->place.file != 0) continue;
        const Repair& repair = *finding.repair;
        Spot* spot = repair.to ? FindSpot(spots.begin(), spots.end(), repair)
                               : FindSpot(std::make_reverse_iterator(spots.end()),
                                          std::make_reverse_iterator(spots.begin()), repair);
        if (spot == nullptr) continue;
        spot->isTaken = true;
        std::optional<Edit> edit = EditOf(file, *spot, repair);
        if (!edit) continue;
        edit->finding = &finding;
        edits.push_back(std::move(*edit));
    }
    return Applied(file, std::move(edits), repaired);
}

}  // namespace

FixedPolicy FixPolicy(std::string_view text, const FindSid& findSid, const AsciiHost& asciiHost, ListFiles* files) {
    constexpr int kMaxRounds = 8;  // an entry with a scheme, "www." and an umlaut takes three
    FixedPolicy fixed{std::string(text), {}, {}, ParsePolicy(text, findSid, files)};
    if (!fixed.read.mistakes.empty()) return fixed;
    fixed.left = LintPolicy(fixed.read, asciiHost);
    for (int round = 0; round < kMaxRounds; ++round) {
        std::vector<Finding> repaired;
        std::string next = OneRound(fixed.text, fixed.left, repaired);
        if (repaired.empty() || next == fixed.text) break;
        ReadPolicy read = ParsePolicy(next, findSid, files);
        if (!read.mistakes.empty()) break;
        fixed.text = std::move(next);
        fixed.read = std::move(read);
        fixed.repaired.insert(fixed.repaired.end(), repaired.begin(), repaired.end());
        fixed.left = LintPolicy(fixed.read, asciiHost);
    }
    return fixed;
}

}  // namespace tarn::policy
