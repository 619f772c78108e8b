#include "lists/white_lists.h"

#include <bit>
#include <deque>
#include <string>
#include <vector>

#include "base/bounded_text.h"
#include "base/chain.h"

namespace tarn::lists {
namespace {

constexpr auto kAnyPayload = [](std::size_t, std::uint32_t) { return true; };

// Which of the sixteen characters from at on end a part of the URL; text comes from a PaddedText, whose zeros behind
// the end are read too.
unsigned UrlPartEnds(std::string_view text, std::size_t at) {
    const base::Block16 block = base::Block16::Load(text.data() + at);
    unsigned ends = block.EqualMask('/') | block.EqualMask('?') | block.EqualMask('#');
    if (text.size() - at < base::Block16::kSize) ends &= (1U << (text.size() - at)) - 1U;
    return ends;
}

// The entries in lower case, without their trailing "/", the empty ones left out.
std::deque<std::string> LoweredEntries(const UrlListRecord& record) {
    std::deque<std::string> entries;
    for (const auto& entry : base::RecordArray(record.entries, record.count)) {
        const std::string_view text = base::WithoutTrailingSlash(base::FieldText(entry, TARN_URL_CAPACITY));
        if (!text.empty()) entries.push_back(base::Lowered(text));
    }
    return entries;
}

}  // namespace

void InternalWhiteList::Publish(const UrlListRecord& record) {
    const std::deque<std::string> entries = LoweredEntries(record);
    std::vector<PrefixTree::Pattern> prefixes;
    std::vector<SuffixTree::Pattern> substrings;
    for (const std::string_view entry : entries) {
        if (!entry.starts_with('*'))
            prefixes.push_back({entry, 0});
        else if (entry.size() > 1)
            substrings.push_back({entry.substr(1), 0});
    }
    InternalWhiteList list;
    list.prefixRoot_ = list.prefixes_.Add(prefixes);
    list.substringRoot_ = list.substrings_.Add(substrings);
    *this = std::move(list);
}

bool InternalWhiteList::Matches(std::string_view url) const noexcept {
    if (prefixRoot_ == PrefixTree::kNone && substringRoot_ == SuffixTree::kNone) return false;
    const PaddedText padded(url, LetterCase::kFolded);
    if (!padded.Fits()) return false;
    const std::string_view text = padded.View();
    const auto ends = [text](std::size_t length) { return EndsUrlPart(text, length); };
    if (prefixes_.Walk(prefixRoot_, text.data(), text.size(), ends, kAnyPayload)) return true;
    if (substringRoot_ == SuffixTree::kNone) return false;
    for (std::size_t at = 0; at < text.size(); at += base::Block16::kSize) {
        unsigned places = UrlPartEnds(text, at);
        for (; places != 0; places &= places - 1U)
            if (HoldsPatternAt(text, at + static_cast<std::size_t>(std::countr_zero(places)))) return true;
    }
    return HoldsPatternAt(text, text.size());
}

// Whether the first occurrence of some pattern ends at end.
bool InternalWhiteList::HoldsPatternAt(std::string_view text, std::size_t end) const {
    const auto any = [](std::size_t) { return true; };
    // QUIRK: only the first occurrence of a pattern counts; a later one does not match even where it ends well.
    // Test: OnlyTheFirstOccurrenceCounts
    const auto isFirst = [text, end](std::size_t length, std::uint32_t) {
        return base::FindText(text.substr(0, end), text.substr(end - length, length)) == end - length;
    };
    return substrings_.Walk(substringRoot_, text.data() + end, end, any, isFirst);
}

void UserWhiteList::Publish(const UrlListRecord& record) {
    const std::deque<std::string> entries = LoweredEntries(record);
    std::vector<PrefixTree::Pattern> prefixes;
    prefixes.reserve(entries.size());
    for (const std::string_view entry : entries) prefixes.push_back({entry, 0});
    UserWhiteList list;
    list.root_ = list.prefixes_.Add(prefixes);
    *this = std::move(list);
}

bool UserWhiteList::Matches(std::string_view hostAndPath) const noexcept {
    if (root_ == PrefixTree::kNone) return false;
    const PaddedText padded(hostAndPath, LetterCase::kFolded);
    const std::string_view text = padded.View();
    const auto ends = [text](std::size_t length) { return EndsSegment(text, length); };
    return padded.Fits() && prefixes_.Walk(root_, text.data(), text.size(), ends, kAnyPayload);
}

}  // namespace tarn::lists
