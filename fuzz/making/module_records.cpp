#include "making/module_records.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <set>

#include "base/hash.h"

namespace tarn::fuzz {
namespace {

constexpr std::size_t kMostEntries = 6;
constexpr std::string_view kHosts[] = {
    "lantern.example", "www.lantern.example",          "chat.example", "192.0.2.10", "files.lantern.example",
    "example",         "a.b.c.d.e.f.g.h.i.j.k.example"};
constexpr std::string_view kPaths[] = {"", "/", "/a", "/a/b/", "/style/main.css"};

std::string_view HostOf(std::uint8_t choice) {
    return kHosts[choice % std::size(kHosts)];
}

std::string_view TakePath(Pieces& pieces, std::string& own) {
    const std::uint8_t choice = pieces.Byte();
    if ((choice & 0x80) == 0) return kPaths[choice % std::size(kPaths)];
    own = "/" + std::string(pieces.TakeText(choice & 0x7F));
    std::ranges::replace(own, '\0', 'n');
    return own;
}

}  // namespace

std::uint8_t* ModuleRecords::AddBlock(std::size_t size) {
    blocks_.push_back({std::make_unique<std::uint8_t[]>(size), size});
    return blocks_.back().bytes.get();
}

template <class Item>
Item* ModuleRecords::AddItems(std::size_t count) {
    return count == 0 ? nullptr : reinterpret_cast<Item*>(AddBlock(count * sizeof(Item)));
}

bool ModuleRecords::IsNowOdd(Pieces& pieces) {
    if (!mayBeOdd_ || pieces.Byte() % 8 != 3) return false;
    isOdd_ = true;
    return true;
}

std::size_t ModuleRecords::Readable(const void* at, std::size_t size) const {
    const auto* const place = static_cast<const std::uint8_t*>(at);
    for (const Block& block : blocks_)
        if (std::less_equal<>()(block.bytes.get(), place) && std::less<>()(place, block.bytes.get() + block.size))
            return std::min<std::size_t>(size, static_cast<std::size_t>(block.bytes.get() + block.size - place));
    return 0;
}

void ModuleRecords::PutSid(std::uint8_t number, std::uint8_t* sid) {
    constexpr std::array<std::uint8_t, 28> kSid{1, 5, 0, 0, 0, 0, 0, 5, 21, 0, 0,    0, 1, 0,
                                                0, 0, 2, 0, 0, 0, 3, 0, 0,  0, 0xE8, 3, 0, 0};
    std::ranges::copy(kSid, sid);
    sid[24] = static_cast<std::uint8_t>(sid[24] + number);
}

void ModuleRecords::PutText(Pieces& pieces, std::string_view text, void* field, std::size_t size) {
    std::memset(field, 0, size);
    std::memcpy(field, text.data(), std::min(text.size(), size - 1));
    if (IsNowOdd(pieces)) std::memset(field, pieces.Byte() | 1, size);
}

void ModuleRecords::PutWideText(Pieces& pieces, void* field, std::size_t units) {
    auto* const bytes = static_cast<std::uint8_t*>(field);
    std::memset(bytes, 0, units * 2);
    const Bytes text = pieces.Take(std::min<std::size_t>(pieces.Byte(), units - 1));
    for (std::size_t i = 0; i < text.size(); ++i) bytes[2 * i] = std::max<std::uint8_t>(text[i], 1);
    if (IsNowOdd(pieces)) std::memset(bytes, pieces.Byte() | 1, units * 2);
}

IpAddressRecord ModuleRecords::TakeAddress(Pieces& pieces) {
    IpAddressRecord address{};
    address.family = pieces.Byte() % 4 == 3 ? TARN_FAMILY_IPV6 : TARN_FAMILY_IPV4;
    address.bytes[0] = 192;
    address.bytes[2] = 2;
    address.bytes[3] = pieces.Byte();
    if (IsNowOdd(pieces)) address.family = pieces.Byte();
    return address;
}

void ModuleRecords::Take(Pieces& pieces, UrlListRecord& record) {
    record = {};
    const std::size_t count = pieces.Byte() % (kMostEntries + 1);
    auto* const entries = AddItems<char[TARN_URL_CAPACITY]>(count);
    for (std::size_t i = 0; i < count; ++i) {
        const std::uint8_t choice = pieces.Byte();
        std::string path;
        std::string text((choice & 0x40) != 0 ? "*" : "");
        text += HostOf(choice);
        text += TakePath(pieces, path);
        if (const std::size_t scheme = text.find("://"); scheme != std::string::npos) text.resize(scheme);
        PutText(pieces, text, entries[i], TARN_URL_CAPACITY);
    }
    record.count = static_cast<std::uint32_t>(count);
    record.entries = entries;
    if (IsNowOdd(pieces)) record.entries = nullptr;
}

template <class Entry, class AddNodes>
void ModuleRecords::TakeSites(Pieces& pieces, std::uint32_t& count, Entry*& entries, AddNodes addNodes) {
    const std::size_t wanted = pieces.Byte() % (kMostEntries + 1);
    entries = AddItems<Entry>(wanted);
    count = static_cast<std::uint32_t>(wanted);
    for (std::size_t i = 0; i < wanted; ++i) {
        Entry& entry = entries[i];
        const std::uint8_t choice = pieces.Byte();
        const std::string_view host = HostOf(choice);
        entry.wholeSite = choice >> 7;
        entry.hash = base::Crc32Of(host);
        auto* const text = reinterpret_cast<char*>(AddBlock(host.size() + 1));
        std::memcpy(text, host.data(), host.size());
        entry.host = text;
        addNodes(entry, (choice >> 4) % 4);
        if (IsNowOdd(pieces)) entry.host = nullptr;
        if (IsNowOdd(pieces)) entry.hash = pieces.Number();
    }
    std::sort(entries, entries + wanted, [](const Entry& a, const Entry& b) { return a.hash < b.hash; });
    if (wanted > 1 && IsNowOdd(pieces)) std::swap(entries[0], entries[wanted - 1]);
    if (IsNowOdd(pieces)) entries = nullptr;
}

void ModuleRecords::Take(Pieces& pieces, ThreatSiteList& record) {
    std::uint32_t count = 0;
    ThreatSiteEntry* entries = nullptr;
    TakeSites(pieces, count, entries, [&](ThreatSiteEntry& entry, std::size_t nodes) {
        auto* const threats = AddItems<ThreatNode>(nodes);
        entry.threats = threats;
        for (std::size_t i = 0; i < nodes; ++i) {
            std::string own;
            PutText(pieces, "Test.Threat", threats[i].name, sizeof threats[i].name);
            PutText(pieces, TakePath(pieces, own), threats[i].path, sizeof threats[i].path);
            threats[i].next = i + 1 < nodes ? &threats[i + 1] : nullptr;
        }
        if (nodes != 0 && IsNowOdd(pieces)) threats[nodes - 1].next = &threats[0];
    });
    record.count = count;
    record.entries = entries;
}

void ModuleRecords::Take(Pieces& pieces, PhishingSiteList& record) {
    std::uint32_t count = 0;
    PhishingSiteEntry* entries = nullptr;
    TakeSites(pieces, count, entries, [&](PhishingSiteEntry& entry, std::size_t nodes) {
        auto* const paths = AddItems<PathListNode>(nodes);
        entry.paths = paths;
        for (std::size_t i = 0; i < nodes; ++i) {
            std::string own;
            PutText(pieces, TakePath(pieces, own), paths[i].path, sizeof paths[i].path);
            paths[i].next = i + 1 < nodes ? &paths[i + 1] : nullptr;
        }
        if (nodes != 0 && IsNowOdd(pieces)) paths[nodes - 1].next = &paths[0];
    });
    record.count = count;
    record.entries = entries;
}

void ModuleRecords::Take(Pieces& pieces, IdsSettingsRecord& record) {
    record = {};
    const std::size_t count = pieces.Byte() % 4;
    auto* const rules = AddItems<IdsRule>(count);
    for (std::size_t i = 0; i < count; ++i) {
        IdsRule& rule = rules[i];
        const std::uint8_t choice = pieces.Byte();
        rule.id = static_cast<std::uint16_t>(i * 100 + choice % 100);
        rule.excluded = choice >> 7;
        PutWideText(pieces, &rule.name, sizeof rule.name / 2);
        PutWideText(pieces, &rule.description, sizeof rule.description / 2);
        PutWideText(pieces, &rule.details, sizeof rule.details / 2);
        const std::size_t systems = (choice >> 5) % 3;
        rule.systemCount = static_cast<std::uint8_t>(systems);
        if (systems == 0) continue;
        rule.systems = AddBlock(systems * 2 - 1);
        for (std::size_t k = 0; k < systems; ++k)
            rule.systems[2 * k] = pieces.Byte() % 2 == 0 ? TARN_SYSTEM_10_0 : TARN_SYSTEM_6_1;
    }
    record.ruleCount = static_cast<std::uint32_t>(count);
    record.rules = rules;
    if (IsNowOdd(pieces)) record.rules = nullptr;
}

void ModuleRecords::Take(Pieces& pieces, DnsCacheRecord& record) {
    const std::size_t count = pieces.Byte() % (kMostEntries + 1);
    auto* const entries = AddItems<DnsAnswerEntry>(count);
    for (std::size_t i = 0; i < count; ++i) {
        entries[i].addressCount = pieces.Byte() % 4;
        PutText(pieces, HostOf(pieces.Byte()), entries[i].hostName, sizeof entries[i].hostName);
        for (IpAddressRecord& address : entries[i].addresses) address = TakeAddress(pieces);
    }
    record.count = static_cast<std::uint16_t>(count);
    record.writeIndex = static_cast<std::uint16_t>(pieces.Number() % (TARN_DNS_RING_SLOTS + 1));
    record.entries = entries;
    if (IsNowOdd(pieces)) record.writeIndex = pieces.Number();
    if (IsNowOdd(pieces)) record.entries = nullptr;
}

void ModuleRecords::Take(Pieces& pieces, PcSystemControlRecord& record) {
    const std::size_t count = pieces.Byte() % 4;
    auto* const records = AddItems<SavedSessionRecord>(count);
    for (std::size_t i = 0; i < count; ++i) {
        SavedSessionRecord& session = records[i];
        PutSid(pieces.Byte() % 4, session.sid);
        session.accountTag = pieces.Byte();
        PutWideText(pieces, &session.userName, sizeof session.userName / 2);
        session.lastUpdate = std::int64_t{1700000000} + std::int64_t{pieces.Number()} * 4000;
        session.usageTicks = pieces.Number();
        session.blocked = pieces.Byte() % 2;
        if (IsNowOdd(pieces)) session.lastUpdate = std::int64_t{pieces.Number()} << 48;
        if (IsNowOdd(pieces)) std::ranges::copy(pieces.Take(64), session.sid);
    }
    record.count = static_cast<std::uint32_t>(count);
    record.records = records;
    if (IsNowOdd(pieces)) record.records = nullptr;
}

void ModuleRecords::TakeSchedule(Pieces& pieces, DaySchedule& day) {
    const std::size_t count = pieces.Byte() % 3;
    auto* const ranges = AddItems<TimeRange>(count);
    for (std::size_t i = 0; i < count; ++i) {
        const std::uint8_t start = pieces.Byte() % 23;
        const auto end = static_cast<std::uint32_t>(start + 1 + pieces.Byte() % (23 - start));
        ranges[i] = {start, 0, end, 59};
        if (IsNowOdd(pieces)) ranges[i].endHour = pieces.Byte();
    }
    day.count = static_cast<std::uint32_t>(count);
    day.ranges = ranges;
    if (IsNowOdd(pieces)) day.ranges = nullptr;
}

void ModuleRecords::TakeCategories(Pieces& pieces, CategoryList& list) {
    const std::size_t count = pieces.Byte() % 4;
    auto* const categories = AddItems<std::uint16_t>(count);
    for (std::size_t i = 0; i < count; ++i) categories[i] = pieces.Byte() % 8;
    list.count = static_cast<std::uint32_t>(count);
    list.categories = categories;
    if (IsNowOdd(pieces)) list.categories = nullptr;
}

SiteRule* ModuleRecords::TakeBlocked(Pieces& pieces) {
    const std::size_t count = pieces.Byte() % (kMostEntries + 1);
    auto* const rules = AddItems<SiteRule>(count);
    for (std::size_t i = 0; i < count; ++i) {
        SiteRule& rule = rules[i];
        const std::uint8_t choice = pieces.Byte();
        std::string own;
        PutText(pieces, HostOf(choice), rule.host, sizeof rule.host);
        PutText(pieces, TakePath(pieces, own), rule.path, sizeof rule.path);
        rule.flag = choice >> 7;
        rule.kind = static_cast<std::uint8_t>(choice >> 5 & 3);
        rule.extra = choice >> 4 & 1;
        const std::size_t addresses = pieces.Byte() % 3;
        auto* const list = AddItems<IpAddressRecord>(addresses);
        for (std::size_t k = 0; k < addresses; ++k) list[k] = TakeAddress(pieces);
        rule.addressCount = static_cast<std::uint32_t>(addresses);
        rule.addresses = list;
        if (IsNowOdd(pieces)) rule.addresses = nullptr;
        rule.next = i + 1 < count ? &rules[i + 1] : nullptr;
    }
    if (count != 0 && IsNowOdd(pieces)) rules[count - 1].next = &rules[0];
    return rules;
}

void ModuleRecords::TakeAllowed(Pieces& pieces, UserUrlList& list) {
    const std::size_t count = pieces.Byte() % 4;
    auto* const sites = AddItems<UserUrlEntry>(count);
    for (std::size_t i = 0; i < count; ++i) {
        UserUrlEntry& site = sites[i];
        const std::uint8_t choice = pieces.Byte();
        std::string own;
        PutText(pieces, HostOf(choice), site.host, sizeof site.host);
        PutText(pieces, TakePath(pieces, own), site.path, sizeof site.path);
        site.hostOnly = choice >> 7;
        site.kind = static_cast<std::uint8_t>(choice >> 5 & 3);
        site.includeSubdomains = choice >> 4 & 1;
        site.next = i + 1 < count ? &sites[i + 1] : nullptr;
    }
    list.count = static_cast<std::uint32_t>(count);
    list.first = sites;
    if (count != 0 && IsNowOdd(pieces)) sites[count - 1].next = &sites[0];
    if (IsNowOdd(pieces)) list.count = list.count + 1;
    if (IsNowOdd(pieces)) list.first = nullptr;
}

void ModuleRecords::TakeUser(Pieces& pieces, std::uint8_t number, PcUserEntryRecord& entry) {
    PcUserLeading& leading = entry.leading;
    PutSid(number, leading.sid);
    const std::uint8_t switches = pieces.Byte();
    leading.profileSwitch = switches & 1;
    leading.blockListSwitch = switches >> 1 & 1;
    leading.categorySwitch = switches >> 2 & 1;
    leading.scheduleSwitch = switches >> 3 & 1;
    leading.scheduleSuspended = switches >> 4 & 1;
    leading.controlled = switches >> 5 & 1;
    leading.exempt = switches >> 6 & 1;
    leading.scheduleMode = switches >> 7;
    const std::uint8_t hours = pieces.Byte();
    for (std::size_t i = 0; i < sizeof leading.hourGrid; ++i) leading.hourGrid[i] = hours >> i % 8 & 1;
    for (std::size_t i = 0; i < sizeof leading.dailyAllowance / 2; ++i) leading.dailyAllowance[i] = pieces.Byte() % 25;
    for (DaySchedule& day : entry.schedule) TakeSchedule(pieces, day);
    TakeCategories(pieces, entry.blockedCategories);
    TakeCategories(pieces, entry.otherCategories);
    entry.siteRules = TakeBlocked(pieces);
    TakeAllowed(pieces, entry.allowedSites);
    TakeAllowed(pieces, entry.scheduleAllowedSites);
    if (IsNowOdd(pieces)) std::ranges::copy(pieces.Take(sizeof leading.sid), leading.sid);
}

void ModuleRecords::Take(Pieces& pieces, PcSettingsRecord& record) {
    record = {};
    record.mode = pieces.Byte() % 3;
    record.prompt = {pieces.Byte(), pieces.Byte()};
    record.strictness = pieces.Byte() % 4;
    const std::size_t count = record.mode == TARN_PC_ABSENT ? 0 : 1 + pieces.Byte() % 2;
    auto* const entries = AddItems<PcUserEntryRecord>(count);
    for (std::size_t i = 0; i < count; ++i) TakeUser(pieces, static_cast<std::uint8_t>(i), entries[i]);
    record.entryCount = static_cast<std::uint32_t>(count);
    record.entries = entries;
    if (IsNowOdd(pieces)) record.mode = pieces.Byte();
    if (IsNowOdd(pieces)) record.strictness = pieces.Byte();
    if (IsNowOdd(pieces)) record.entries = nullptr;
}

}  // namespace tarn::fuzz
