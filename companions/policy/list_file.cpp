#include "policy/list_file.h"

#include <algorithm>
#include <array>

#include "base/text.h"

namespace tarn::policy {
namespace {

constexpr std::size_t kMostHostBytes = 253;
constexpr std::size_t kLinesThatTellTheFormat = 100;
constexpr std::uint32_t kLinesOfProgress = 16384;

bool IsBlank(char c) {
    return c == ' ' || c == '\t' || c == '\r' || c == '\f' || c == '\v';
}

std::string_view Trimmed(std::string_view text) {
    while (!text.empty() && IsBlank(text.front())) text.remove_prefix(1);
    while (!text.empty() && IsBlank(text.back())) text.remove_suffix(1);
    return text;
}

// The text up to the next blank; rest loses it.
std::string_view NextField(std::string_view& rest) {
    rest = Trimmed(rest);
    const auto end = static_cast<std::size_t>(std::find_if(rest.begin(), rest.end(), IsBlank) - rest.begin());
    const std::string_view field = rest.substr(0, end);
    rest.remove_prefix(end);
    return field;
}

bool StartsWith(std::string_view text, std::initializer_list<std::string_view> beginnings) {
    return std::any_of(beginnings.begin(), beginnings.end(), [&](auto start) { return text.starts_with(start); });
}

bool LooksLikeAddress(std::string_view field) {
    const bool isIpv6 = field.find(':') != std::string_view::npos;
    const std::string_view digits = isIpv6 ? "0123456789abcdefABCDEF:.%" : "0123456789.";
    const std::string_view known = isIpv6 ? field.substr(0, field.find('%')) : field;  // behind it an interface
    return !known.empty() && known.find_first_not_of(digits) == std::string_view::npos &&
           (isIpv6 || known.find('.') != std::string_view::npos);
}

// What a hosts file gives a host that nobody shall reach.
bool LeadsNowhere(std::string_view address) {
    return address.starts_with("127.") || address == "0.0.0.0" || address == "::" || address == "::1" ||
           address == "0:0:0:0:0:0:0:0" || address == "0:0:0:0:0:0:0:1";
}

// Names that a hosts file gives the machine itself.
bool IsOfTheMachine(std::string_view host) {
    static constexpr std::array<std::string_view, 7> kNames{
        "localhost", "localhost.localdomain", "local", "0.0.0.0", "broadcasthost", "localhost4", "localhost6"};
    return std::any_of(kNames.begin(), kNames.end(), [&](auto name) { return base::EqualIgnoringCase(host, name); }) ||
           StartsWith(host, {"ip6-", "localhost6."});
}

enum class HostForm { kHost, kNone, kInternational };

HostForm FormOf(std::string_view host) {
    if (std::any_of(host.begin(), host.end(), [](char c) { return (static_cast<unsigned char>(c) & 0x80U) != 0; }))
        return HostForm::kInternational;
    if (host.empty() || host.size() > kMostHostBytes || host.front() == '.' || host.back() == '.')
        return HostForm::kNone;
    char before = '.';
    for (const char c : host) {
        const bool isName = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '-' ||
                            c == '_' || (c == '.' && before != '.');
        if (!isName) return HostForm::kNone;
        before = c;
    }
    return HostForm::kHost;
}

bool IsHostsLine(std::string_view line) {
    const std::string_view first = NextField(line);
    return LooksLikeAddress(first) && !Trimmed(line).empty() && Trimmed(line).front() != '#';
}

bool IsPageRule(std::string_view line) {
    for (const std::string_view sign : {"##", "#@#", "#?#", "#@?#", "#$#", "#%#", "$$", "#^#"})
        if (line.find(sign) != std::string_view::npos) return true;
    return false;
}

// Whether a "#" of a plain line begins no comment, but says what to do with a page.
bool HoldsPageRule(std::string_view line) {
    const std::size_t sign = line.find('#');
    return sign != std::string_view::npos && sign != 0 && !IsBlank(line[sign - 1]) && IsPageRule(line.substr(sign - 1));
}

class Lines {
 public:
    explicit Lines(std::string_view text) : text_(text), total_(text.size()) {
        if (text_.starts_with("\xEF\xBB\xBF")) text_.remove_prefix(3);
    }
    bool Next(std::string_view& line) {
        if (text_.empty()) return false;
        const std::size_t end = std::min(text_.find('\n'), text_.size());
        line = Trimmed(text_.substr(0, end));
        text_.remove_prefix(std::min(end + 1, text_.size()));
        ++number_;
        return true;
    }
    [[nodiscard]] std::uint32_t Number() const { return number_; }
    [[nodiscard]] std::size_t BytesRead() const { return total_ - text_.size(); }

 private:
    std::string_view text_;
    std::size_t total_;
    std::uint32_t number_ = 0;
};

ListFormat Guess(std::string_view text) {
    Lines lines(text);
    std::size_t told = 0;
    bool hasHosts = false;
    for (std::string_view line; told < kLinesThatTellTheFormat && lines.Next(line);) {
        if (line.starts_with('[') || StartsWith(line, {"||", "@@", "##", "#@#"})) return ListFormat::kAdblock;
        if (HoldsPageRule(line)) return ListFormat::kAdblock;
        if (line.empty() || line.front() == '#' || line.front() == '!') continue;
        ++told;
        hasHosts |= IsHostsLine(line);
    }
    return hasHosts ? ListFormat::kHosts : ListFormat::kDomains;
}

class Parser {
 public:
    Parser(bool takesPaths, ListSink& sink) : takesPaths_(takesPaths), sink_(sink) {}

    void Parse(std::string_view text, ListFormat format) {
        Lines lines(text);
        for (std::string_view line; lines.Next(line);) {
            line_ = lines.Number();
            if (line_ % kLinesOfProgress == 0) sink_.Progress(lines.BytesRead());
            if (line.empty()) continue;
            if (format == ListFormat::kAdblock)
                Adblock(line);
            else if (line.front() != '#' && line.front() != '!')
                Plain(line, format);
        }
        sink_.Progress(lines.BytesRead());
    }

 private:
    void Plain(std::string_view line, ListFormat format) {
        if (format == ListFormat::kTexts) return sink_.Take({line, line_});
        if (HoldsPageRule(line)) return sink_.Remark(ListRemark::kPageRule, line_);
        line = Trimmed(line.substr(0, line.find('#')));
        if (format == ListFormat::kHosts && IsHostsLine(line))
            Hosts(line);
        else
            Domain(line);
    }

    void Hosts(std::string_view line) {
        const bool isBlocked = LeadsNowhere(NextField(line));
        for (std::string_view host = NextField(line); !host.empty(); host = NextField(line)) {
            if (host.front() == '#') break;
            if (IsOfTheMachine(host)) continue;
            if (!isBlocked) return sink_.Remark(ListRemark::kMapping, line_);
            Host(host, {});
        }
    }

    void Domain(std::string_view line) {
        ListEntry entry;
        if (line.starts_with("*.")) line.remove_prefix(1);
        if (line.starts_with('.')) {
            entry.coversDomains = true;
            line.remove_prefix(1);
        }
        const std::size_t slash = line.find('/');
        const std::string_view host = line.substr(0, slash);
        const bool hasPath = slash != std::string_view::npos && slash + 1 < line.size();
        if (FormOf(host) != HostForm::kHost || (slash != std::string_view::npos && !hasPath)) return Host(host, entry);
        if (!hasPath && IsOfTheMachine(host)) return;
        if (!hasPath) return Host(host, entry);
        if (!takesPaths_ || std::any_of(line.begin(), line.end(), IsBlank))
            return sink_.Remark(ListRemark::kPath, line_);
        entry.text = line;
        entry.line = line_;
        sink_.Take(entry);
    }

    void Adblock(std::string_view line) {
        if (line.starts_with("!#")) return sink_.Remark(ListRemark::kDirective, line_);
        if (line.front() == '!' || line.front() == '[') return;
        if (IsPageRule(line)) return sink_.Remark(ListRemark::kPageRule, line_);
        if (line.front() == '#') return;
        if (IsHostsLine(line)) return Hosts(Trimmed(line.substr(0, line.find('#'))));
        ListEntry entry;
        entry.coversDomains = true;
        if (line.starts_with("@@")) {
            entry.isException = true;
            line.remove_prefix(2);
        }
        if (line.starts_with('/') && (line.ends_with('/') || line.find("/$") != std::string_view::npos))
            return sink_.Remark(ListRemark::kRegex, line_);
        const std::size_t dollar = line.rfind('$');
        const std::string_view options = dollar == std::string_view::npos ? "" : line.substr(dollar + 1);
        line = line.substr(0, dollar);
        if (!line.starts_with("||")) return sink_.Remark(ListRemark::kPattern, line_);
        line.remove_prefix(2);
        if (line.find('/') != std::string_view::npos) return sink_.Remark(ListRemark::kPath, line_);
        if (!line.ends_with('^') || line.find('*') != std::string_view::npos)
            return sink_.Remark(ListRemark::kPattern, line_);
        line.remove_suffix(1);
        // These two take nothing away from what the rule covers.
        if (dollar != std::string_view::npos && options != "important" && options != "all")
            return sink_.Remark(ListRemark::kCondition, line_);
        Host(line, entry);
    }

    void Host(std::string_view host, ListEntry entry) {
        if (host.ends_with('.')) host.remove_suffix(1);
        switch (FormOf(host)) {
            case HostForm::kInternational:
                return sink_.Remark(ListRemark::kInternational, line_);
            case HostForm::kNone:
                return sink_.Remark(ListRemark::kNoHost, line_);
            case HostForm::kHost:
                entry.text = host;
                entry.line = line_;
                sink_.Take(entry);
        }
    }

    bool takesPaths_;
    ListSink& sink_;
    std::uint32_t line_ = 0;
};

}  // namespace

void ParseList(std::string_view text, ListFormat format, bool takesPaths, ListSink& sink) {
    Parser(takesPaths, sink).Parse(text, format == ListFormat::kAuto ? Guess(text) : format);
}

}  // namespace tarn::policy
