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

// Calls use(end) for the end of each part of a URL, its own end last, until it returns true, which is then the result.
template <class Use>
bool AnyUrlPartEnd(std::string_view url, Use use) {
    const auto endsOf = [](base::Block16 block) {
        return block.EqualMask('/') | block.EqualMask('?') | block.EqualMask('#');
    };
    const auto useEach = [&use](std::size_t at, unsigned ends) {
        for (; ends != 0; ends &= ends - 1U)
            if (use(at + static_cast<std::size_t>(std::countr_zero(ends)))) return true;
        return false;
    };
    return base::AnyBlockMask(url, endsOf, useEach) || use(url.size());
}

std::string_view FirstPart(std::string_view url) {
    std::size_t end = 0;
    AnyUrlPartEnd(url, [&end](std::size_t at) {
        end = at;
        return true;
    });
    return url.substr(0, end);
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
    list.firstParts_ = base::KeyFilter(prefixes.size());
    for (const PrefixTree::Pattern& prefix : prefixes) list.firstParts_.Add(base::HashText(FirstPart(prefix.text)));
    list.substringFilter_ = SuffixFilter(substrings.size());
    for (const SuffixTree::Pattern& substring : substrings) list.substringFilter_.Add(substring.text);
    list.prefixRoot_ = list.prefixes_.Add(prefixes);
    list.substringRoot_ = list.substrings_.Add(substrings);
    *this = std::move(list);
}

// An entry that the URL begins with ends where a part of the URL ends. So the first part of both is the same, that of
// the URL and that of the entry.
bool InternalWhiteList::MayMatch(std::string_view url) const {
    if (prefixRoot_ == PrefixTree::kNone && substringRoot_ == SuffixTree::kNone) return false;
    if (base::HasUpper(url)) return true;
    bool isFirst = true;
    return AnyUrlPartEnd(url, [&](std::size_t end) {
        const std::string_view text = url.substr(0, end);
        if (isFirst && firstParts_.MayHold(base::HashText(text))) return true;
        isFirst = false;
        return substringFilter_.MayMatch(text);
    });
}

bool InternalWhiteList::Matches(std::string_view url) const noexcept {
    if (!MayMatch(url)) return false;
    const PaddedText padded(url, LetterCase::kFolded);
    if (!padded.Fits()) return false;
    const std::string_view text = padded.View();
    const auto ends = [text](std::size_t length) { return EndsUrlPart(text, length); };
    if (prefixes_.Walk(prefixRoot_, text.data(), text.size(), ends, kAnyPayload)) return true;
    if (substringRoot_ == SuffixTree::kNone) return false;
    return AnyUrlPartEnd(text, [this, text](std::size_t end) { return HoldsPatternAt(text, end); });
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
