#include "host/companion_kit/record_checks.h"

#include <algorithm>
#include <array>
#include <set>

#include "base/hash.h"
#include "host/companion_kit/record_walk.h"

namespace tarn::host {

namespace {

constexpr std::size_t kHostLimit = TARN_URL_CAPACITY;  // a longer host is in no request
constexpr std::size_t kSystemStride = 2;               // bytes from one system of an IDS rule to the next
constexpr std::uint8_t kSystems[] = {TARN_SYSTEM_5_0, TARN_SYSTEM_5_1, TARN_SYSTEM_5_2, TARN_SYSTEM_6_0,
                                     TARN_SYSTEM_6_1, TARN_SYSTEM_6_2, TARN_SYSTEM_6_3, TARN_SYSTEM_10_0};
constexpr const char* kNeverFound = "the entry is never found";

// Of a text field; std::size would refer to the field, which stands at any address.
constexpr std::size_t UnitsOf(std::size_t bytes) {
    return bytes / sizeof(char16_t);
}

bool HasCapital(std::string_view text) {
    return std::ranges::any_of(text, [](char one) { return one >= 'A' && one <= 'Z'; });
}

// Host, hash and order, which both lists of sites have alike.
template <class Entry>
void CheckSite(const Entry& entry, std::uint64_t number, std::optional<std::uint32_t>& before, RecordWalk& walk) {
    const std::string what = fmt::format("entry {}", number);
    const std::uint32_t hash = entry.hash;
    if (before && hash < *before)
        walk.Add(fmt::format("{}: its hash {:08x} is below {:08x} of the entry before it", what, hash, *before),
                 "the list has to ascend by hash; this version sorts it once more, another may miss sites");
    before = hash;
    const char* const hostText = entry.host;
    const auto host = walk.Text(hostText, kHostLimit, what + ": the host");
    if (!host) return;
    const std::uint32_t right = base::Crc32Of(*host);
    if (hash != right)
        walk.Add(fmt::format("{}: the hash of {} is {:08x}, and its CRC-32 is {:08x}", what, *host, hash, right),
                 kNeverFound);
    if (HasCapital(*host)) walk.Add(fmt::format("{}: the host {} has capital letters", what, *host), kNeverFound);
}

void CheckPath(std::string_view path, const std::string& what, RecordWalk& walk) {
    if (!path.empty() && !path.starts_with('/'))
        walk.Add(fmt::format("{}: \"{}\" does not begin with \"/\"", what, path), "the path is never found");
}

void CheckSystems(const IdsRule& rule, const std::string& what, RecordWalk& walk) {
    const std::uint8_t* const systems = rule.systems;
    const auto bytes = walk.Array(systems, std::uint64_t{rule.systemCount} * kSystemStride - (rule.systemCount != 0),
                                  what + ", systems (bytes)");
    for (std::size_t i = 0; i < bytes.size(); i += kSystemStride)
        if (std::ranges::find(kSystems, bytes[i]) == std::end(kSystems))
            walk.Add(fmt::format("{}: {} is no system", what, +bytes[i]), "the rule is for no system by that number");
}

void CheckAddress(const IpAddressRecord& address, const std::string& what, RecordWalk& walk) {
    if (address.family != TARN_FAMILY_IPV4 && address.family != TARN_FAMILY_IPV6)
        walk.Add(fmt::format("{}: {} is no address family", what, +address.family),
                 "the library takes the address for one of another family");
}

}  // namespace

bool EndsInside16(const void* field, std::size_t units) {
    const auto* const bytes = static_cast<const std::uint8_t*>(field);
    for (std::size_t i = 0; i < units; ++i)
        if (bytes[2 * i] == 0 && bytes[2 * i + 1] == 0) return true;
    return false;
}

RecordFindings CheckRecord(const UrlListRecord& record, const RecordMemory& memory) {
    using Entry = std::array<char, TARN_URL_CAPACITY>;
    RecordWalk walk(memory);
    std::uint64_t number = 0;
    const auto* const first = reinterpret_cast<const Entry*>(record.entries);
    for (const Entry& entry : walk.Array(first, record.count, "entries")) {
        const std::string what = fmt::format("entry {}", ++number);
        const std::string_view text = walk.Field(entry.data(), entry.size(), what);
        if (text.empty()) walk.Add(what + " is empty", "the library passes the entry over");
        if (text.find("://") != text.npos)
            walk.Add(fmt::format("{}: \"{}\" has a scheme", what, text), "no request is written so: it never matches");
    }
    return walk.Take();
}

RecordFindings CheckRecord(const ThreatSiteList& record, const RecordMemory& memory) {
    RecordWalk walk(memory);
    std::uint64_t number = 0;
    std::optional<std::uint32_t> before;
    const ThreatSiteEntry* const first = record.entries;
    for (const ThreatSiteEntry& entry : walk.Array(first, record.count, "entries")) {
        CheckSite(entry, ++number, before, walk);
        const ThreatNode* const threats = entry.threats;
        const std::string what = fmt::format("entry {}, threats", number);
        walk.Chain(threats, std::nullopt, what, [&](const ThreatNode& node, std::uint64_t place) {
            const std::string one = fmt::format("entry {}, threat {}", number, place + 1);
            walk.Field(node.name, sizeof node.name, one + ": the name");
            CheckPath(walk.Field(node.path, sizeof node.path, one + ": the path"), one, walk);
        });
    }
    return walk.Take();
}

RecordFindings CheckRecord(const PhishingSiteList& record, const RecordMemory& memory) {
    RecordWalk walk(memory);
    std::uint64_t number = 0;
    std::optional<std::uint32_t> before;
    const PhishingSiteEntry* const first = record.entries;
    for (const PhishingSiteEntry& entry : walk.Array(first, record.count, "entries")) {
        CheckSite(entry, ++number, before, walk);
        const PathListNode* const paths = entry.paths;
        const std::string what = fmt::format("entry {}, paths", number);
        walk.Chain(paths, std::nullopt, what, [&](const PathListNode& node, std::uint64_t place) {
            const std::string one = fmt::format("entry {}, path {}", number, place + 1);
            CheckPath(walk.Field(node.path, sizeof node.path, one), one, walk);
        });
    }
    return walk.Take();
}

RecordFindings CheckRecord(const IdsSettingsRecord& record, const RecordMemory& memory) {
    RecordWalk walk(memory);
    std::uint64_t number = 0;
    std::set<std::uint16_t> numbers;
    const IdsRule* const first = record.rules;
    for (const IdsRule& rule : walk.Array(first, record.ruleCount, "rules")) {
        const std::string what = fmt::format("rule {}", ++number);
        walk.Field16(&rule.name, UnitsOf(sizeof rule.name), what + ": the name");
        walk.Field16(&rule.description, UnitsOf(sizeof rule.description), what + ": the description");
        walk.Field16(&rule.details, UnitsOf(sizeof rule.details), what + ": the details field");
        CheckSystems(rule, what, walk);
        // One number may be that of several rules, each for other systems.
        if (rule.systemCount == 0 && !numbers.insert(std::uint16_t{rule.id}).second)
            walk.Add(fmt::format("{}: an earlier rule has the number {}, too", what, std::uint16_t{rule.id}),
                     "the first of them counts");
    }
    return walk.Take();
}

RecordFindings CheckRecord(const DnsCacheRecord& record, const RecordMemory& memory) {
    RecordWalk walk(memory);
    const std::uint16_t count = record.count;
    const std::uint16_t writeIndex = record.writeIndex;
    if (count > TARN_DNS_RING_SLOTS)
        walk.Add(fmt::format("the count is {}, and at most {} are allowed", count, +TARN_DNS_RING_SLOTS),
                 "the library ignores all saved answers");
    if (writeIndex > TARN_DNS_RING_SLOTS)
        walk.Add(fmt::format("the next slot to write is {} of {}", writeIndex, +TARN_DNS_RING_SLOTS),
                 "the library goes on at another slot");
    std::uint64_t number = 0;
    const DnsAnswerEntry* const first = record.entries;
    for (const DnsAnswerEntry& entry : walk.Array(first, count, "entries")) {
        const std::string what = fmt::format("entry {}", ++number);
        const std::uint16_t addresses = entry.addressCount;
        if (addresses == 0) continue;  // an empty slot
        walk.Field(entry.hostName, sizeof entry.hostName, what + ": the host");
        for (std::size_t i = 0; i < std::min<std::size_t>(addresses, std::size(entry.addresses)); ++i)
            CheckAddress(entry.addresses[i], fmt::format("{}, address {}", what, i + 1), walk);
    }
    return walk.Take();
}

RecordFindings CheckRecord(const PcSystemControlRecord& record, const RecordMemory& memory) {
    RecordWalk walk(memory);
    std::uint64_t number = 0;
    const SavedSessionRecord* const first = record.records;
    for (const SavedSessionRecord& session : walk.Array(first, record.count, "records"))
        walk.Field16(&session.userName, UnitsOf(sizeof session.userName), fmt::format("record {}: the name", ++number));
    return walk.Take();
}

RecordFindings CheckCategories(const std::uint16_t* categories, std::uint16_t count, const RecordMemory& memory) {
    RecordWalk walk(memory);
    walk.Array(categories, count, "categories");
    return walk.Take();
}

}  // namespace tarn::host
