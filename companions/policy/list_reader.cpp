#include "policy/list_reader.h"

#include <algorithm>
#include <array>
#include <fmt/format.h>
#include <fmt/ranges.h>
#include <functional>

#include "policy/included_entries.h"
#include "policy/list_file.h"

namespace tarn::policy {
namespace {

constexpr std::size_t kShownLines = 5;  // of one remark about one file

struct FormatName {
    std::string_view name;
    ListFormat format;
};
constexpr std::array<FormatName, 4> kFormats{{{"auto", ListFormat::kAuto},
                                              {"domains", ListFormat::kDomains},
                                              {"hosts", ListFormat::kHosts},
                                              {"adblock", ListFormat::kAdblock}}};

struct RemarkText {
    ListRemark remark;
    std::string_view one;  // behind "1 line"
    std::string_view many;
};
constexpr RemarkText kRemarks[] = {
    {ListRemark::kNoHost, "is no host name", "are no host names"},
    {ListRemark::kInternational, "has letters beyond ASCII: write the name as xn--...",
     "have letters beyond ASCII: write the names as xn--..."},
    {ListRemark::kPath, "names a part of a site; only whole hosts are taken",
     "name parts of sites; only whole hosts are taken"},
    {ListRemark::kPattern, "is a pattern of addresses; only ||host^ is taken",
     "are patterns of addresses; only ||host^ is taken"},
    {ListRemark::kRegex, "is a regular expression", "are regular expressions"},
    {ListRemark::kCondition, "holds under a condition only (behind \"$\")",
     "hold under conditions only (behind \"$\")"},
    {ListRemark::kPageRule, "is about what a page shows or runs", "are about what pages show or run"},
    {ListRemark::kDirective, "is a directive; include a further file in the policy",
     "are directives; include further files in the policy"},
    {ListRemark::kMapping, "gives a host its address, which blocks nothing",
     "give hosts their addresses, which blocks nothing"},
    {ListRemark::kBelow, "", ""},
};
static_assert(std::size(kRemarks) == kListRemarks);

std::string Counted(std::uint64_t count, std::string_view one) {
    return count == 1 ? fmt::format("1 {}", one) : fmt::format("{} {}s", count, one);
}

// "entry", where the plural is no "entrys".
std::string CountedEntries(std::uint64_t count) {
    return count == 1 ? "1 entry" : fmt::format("{} entries", count);
}

// What is to be told of one kind of line of one file.
struct Remarks {
    std::uint32_t count = 0;
    std::array<std::uint32_t, kShownLines> lines{};

    void Add(std::uint32_t line) {
        if (count < kShownLines) lines[count] = line;
        ++count;
    }
    [[nodiscard]] std::string Places() const {
        const std::size_t shown = std::min<std::size_t>(count, kShownLines);
        std::string text =
            fmt::format("{} {}", count == 1 ? "line" : "lines", fmt::join(lines.begin(), lines.begin() + shown, ", "));
        if (count > shown) text += ", ...";
        return text;
    }
};

// One item of "include".
struct Item {
    const toml::node* node = nullptr;
    std::string files;
    const ListTarget* target = nullptr;
    ListFormat format = ListFormat::kAuto;
    std::string formatName{kFormats[0].name};
    std::string threat;  // empty: the name of the file
    std::vector<std::uint16_t> categories;
};

class Loader : public ListSink {
 public:
    Loader(Section& top, Policy& policy, ListFiles& files, std::vector<IncludedList>& lists,
           std::vector<Mistake>& warnings)
        : top_(top), policy_(policy), files_(files), lists_(lists), warnings_(warnings), entries_(policy) {}

    void Load(const Item& item) {
        if (!IsPattern(item.files)) return LoadFile(item, item.files);
        const std::vector<std::string> names = files_.Names(item.files);
        for (const std::string& name : names) LoadFile(item, name);
        if (names.empty())
            Warn(*item.node,
                 fmt::format("no file matches \"{}\", which is meant from the policy's folder on", item.files));
    }

    // Afterwards nothing is taken any more.
    void Finish() { entries_.Settle(lists_); }

    void Take(const ListEntry& entry) override {
        if (entry.isException) {
            ++lists_.back().exceptions;
            return entries_.Except(*item_->target, entry, file_);
        }
        if (entry.coversDomains && !item_->target->coversDomains)
            remarks_[static_cast<std::size_t>(ListRemark::kBelow)].Add(entry.line);
        if (entry.text.size() >= item_->target->capacity) return Remark(ListRemark::kNoHost, entry.line);
        if (entries_.Add(*item_->target, entry, file_, item_->categories)) return;
        isTooLong_ = true;
    }
    void Remark(ListRemark remark, std::uint32_t line) override {
        remarks_[static_cast<std::size_t>(remark)].Add(line);
        ++lists_.back().unused;
    }
    void Progress(std::size_t bytes) override { files_.Progress(bytesOfOthers_ + bytes); }

 private:
    void LoadFile(const Item& item, const std::string& name) {
        std::string text;
        std::string whyNot;
        if (!files_.Read(name, text, whyNot)) {
            top_.Complain(*item.node, fmt::format("{}: {}", name, whyNot));
            return;
        }
        item_ = &item;
        remarks_ = {};
        isTooLong_ = false;
        file_ = static_cast<std::uint32_t>(policy_.files.size());
        policy_.files.push_back(name);
        IncludedList list;
        list.name = name;
        list.list = item.target->key;
        list.format = item.formatName;
        if (item.target->hasThreats) list.threat = ThreatOf(item, name);
        list.categories = fmt::format("{}", fmt::join(item.categories, ", "));
        list.place = PlaceOf(*item.node);
        list.fingerprint = std::hash<std::string_view>{}(text);
        policy_.listThreats.resize(file_);
        policy_.listThreats.push_back(list.threat);
        lists_.push_back(std::move(list));
        ParseList(text, item.target->takesTexts ? ListFormat::kTexts : item.format, item.target->takesPaths, *this);
        bytesOfOthers_ += text.size();
        if (isTooLong_)
            top_.Complain(*item.node, fmt::format("the lists for {} hold more than {}", item.target->key,
                                                  CountedEntries(item.target->most)));
        Tell(name);
    }

    static std::string ThreatOf(const Item& item, const std::string& name) {
        if (!item.threat.empty()) return item.threat;
        constexpr std::size_t kMostBytes = 49;
        std::string stem = SplitPattern(name).name;
        if (const std::size_t dot = stem.rfind('.'); dot != std::string::npos && dot != 0) stem.resize(dot);
        if (stem.size() > kMostBytes) {
            std::size_t end = kMostBytes;
            while (end > 0 && (static_cast<unsigned char>(stem[end]) & 0xC0U) == 0x80U) --end;  // whole characters
            stem.resize(end);
        }
        return stem;
    }

    void Tell(const std::string& name) {
        for (const RemarkText& text : kRemarks) {
            const Remarks& remarks = remarks_[static_cast<std::size_t>(text.remark)];
            if (remarks.count == 0) continue;
            const std::string lines = Counted(remarks.count, "line");
            if (text.remark == ListRemark::kBelow)
                WarnOfFile(name, remarks,
                           fmt::format("{} {} the domains below the host too; {} blocks the host alone{}", lines,
                                       remarks.count == 1 ? "means" : "mean", item_->target->key,
                                       item_->target->hasThreats ? " (with and without www.)" : ""));
            else
                WarnOfFile(name, remarks,
                           fmt::format("{} not used: {} {}", lines, remarks.count == 1 ? "it" : "they",
                                       remarks.count == 1 ? text.one : text.many));
        }
    }

    void Warn(const toml::node& node, std::string text) {
        warnings_.push_back({node.source().begin.line, node.source().begin.column, std::move(text)});
    }
    void WarnOfFile(const std::string& name, const Remarks& remarks, const std::string& text) {
        warnings_.push_back({remarks.lines[0], 0, fmt::format("{} ({})", text, remarks.Places()), name});
    }

    Section& top_;
    Policy& policy_;
    ListFiles& files_;
    std::vector<IncludedList>& lists_;
    std::vector<Mistake>& warnings_;
    IncludedEntries entries_;
    const Item* item_ = nullptr;
    std::uint32_t file_ = 0;
    std::uint64_t bytesOfOthers_ = 0;
    std::array<Remarks, kListRemarks> remarks_{};
    bool isTooLong_ = false;
};

std::string ListNames() {
    std::vector<std::string_view> names;
    for (const ListTarget& target : ListTargets()) names.push_back(target.key);
    return fmt::format("{}", fmt::join(names, ", "));
}

// False for an item that is no use.
bool ReadItem(Section& section, Item& item) {
    constexpr TextBound kName{64};
    section.Need("files", item.files, {1024});
    std::string list(ListTargets()[0].key);
    section.Read("list", list, kName);
    section.Read("threat", item.threat, {50});
    section.Read("categories", item.categories, 0, 65535);
    section.Read("format", item.formatName, kName);
    const auto format = std::find_if(kFormats.begin(), kFormats.end(),
                                     [&](const FormatName& known) { return known.name == item.formatName; });
    if (format == kFormats.end())
        section.Complain(*section.Find("format"),
                         fmt::format("\"{}\" is no format; allowed: auto, domains, hosts, adblock", item.formatName));
    else
        item.format = format->format;
    item.target = FindListTarget(list);
    if (item.target == nullptr) {
        section.Complain(*section.Find("list"),
                         fmt::format("\"{}\" is no list that takes files; allowed: {}", list, ListNames()));
        return false;
    }
    if (!item.threat.empty() && !item.target->hasThreats)
        section.Complain(*section.Find("threat"), "only malicious_sites have a threat");
    if (item.target->hasCategories == item.categories.empty())
        section.Complain(section.Whole(), item.categories.empty() ? "the list sites needs categories, such as [2]"
                                                                  : "only the list sites has categories");
    return !item.files.empty() && format != kFormats.end();
}

}  // namespace

std::vector<std::string> IncludePatterns(std::string_view text) {
    std::vector<std::string> patterns;
    if (text.find("include") == std::string_view::npos) return {};  // a long policy takes a while to read
    try {
        const toml::table table = toml::parse(text);
        const toml::array* const items = table["include"].as_array();
        if (items == nullptr) return {};
        for (const toml::node& item : *items) {
            const toml::node* node = &item;
            if (const toml::table* inner = item.as_table()) node = inner->get("files");
            if (node != nullptr && node->is_string()) patterns.push_back(node->as_string()->get());
        }
    } catch (const toml::parse_error&) {
        return {};
    }
    return patterns;
}

void ReadIncludes(Section& top, Policy& policy, ListFiles* files, std::vector<IncludedList>& lists,
                  std::vector<Mistake>& warnings) {
    std::vector<Item> items;
    top.ReadArray("include", "file names and tables", [&](const toml::node& node) {
        Item item;
        item.node = &node;
        item.target = &ListTargets()[0];
        if (const toml::table* table = node.as_table()) {
            bool isOfUse = false;
            top.Inside("include", *table, [&](Section& section) { isOfUse = ReadItem(section, item); });
            if (isOfUse) items.push_back(std::move(item));
        } else if (top.CheckText("include", node, item.files, {1024})) {
            items.push_back(std::move(item));
        }
    });
    if (items.empty()) return;
    if (files == nullptr) return top.Complain(*items.front().node, "files cannot be included here");
    Loader loader(top, policy, *files, lists, warnings);
    for (const Item& item : items) loader.Load(item);
    loader.Finish();
}

}  // namespace tarn::policy
