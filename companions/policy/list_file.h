// Reads a list of sites in the formats that people have: one domain a line, a hosts file, Adblock host rules.
// Views into the text and callbacks only.
#ifndef TARN_COMPANIONS_POLICY_LIST_FILE_H
#define TARN_COMPANIONS_POLICY_LIST_FILE_H

#include <cstddef>
#include <cstdint>
#include <string_view>

namespace tarn::policy {

enum class ListFormat : std::uint8_t {
    kAuto,     // the first lines say which of the next three
    kDomains,  // a host a line
    kHosts,    // an address, then hosts
    kAdblock,  // ||host^ and @@||host^
    kTexts     // every line as it stands
};

// What a line says that cannot be used, or not wholly.
enum class ListRemark : std::uint8_t {
    kNoHost,         // no name of a host
    kInternational,  // letters beyond ASCII
    kPath,           // a part of a site
    kPattern,        // a pattern of addresses
    kRegex,          // a regular expression
    kCondition,      // an option behind "$"
    kPageRule,       // what a page shows or runs
    kDirective,      // "!#include" and the like
    kMapping,        // a host and its true address
    kBelow,          // used, but the line means the domains below the host too
    kCount
};
inline constexpr std::size_t kListRemarks = static_cast<std::size_t>(ListRemark::kCount);

struct ListEntry {
    std::string_view text;       // of the file, in its letter case; without the dot of a root
    std::uint32_t line = 0;      // from 1
    bool isException = false;    // takes the host and the domains below it out again
    bool coversDomains = false;  // means the domains below it too
};

class ListSink {
 public:
    virtual ~ListSink() = default;
    virtual void Take(const ListEntry& entry) = 0;
    virtual void Remark(ListRemark remark, std::uint32_t line) = 0;
    // Now and then: how much of the text has been read.
    virtual void Progress(std::size_t /*bytes*/) {}
};

// takesPaths: of domains, "host/path" is an entry too.
void ParseList(std::string_view text, ListFormat format, bool takesPaths, ListSink& sink);

}  // namespace tarn::policy

#endif
