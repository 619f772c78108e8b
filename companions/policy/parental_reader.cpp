#include "policy/parental_reader.h"

#include <fmt/format.h>

#include "policy/values.h"

namespace tarn::policy {
namespace {

constexpr std::array<std::string_view, 7> kDays = {"sunday",   "monday", "tuesday", "wednesday",
                                                   "thursday", "friday", "saturday"};
constexpr TextBound kHost{256};
constexpr TextBound kPath{TARN_URL_CAPACITY, true};

void ReadSchedule(Section& section, ParentalUser& user) {
    section.Read("on", user.schedule);
    for (std::size_t day = 0; day < kDays.size(); ++day)
        section.ReadArray(kDays[day], "an array of times such as [\"08:00-12:30\"]", [&](const toml::node& item) {
            std::string text;
            TimeRange range{};
            if (!section.CheckText(kDays[day], item, text, {32})) return;
            if (TimeRangeOfText(text, range))
                user.times[day].push_back(range);
            else
                section.Complain(
                    item,
                    fmt::format(
                        "\"{}\" is no time range; allowed: \"08:00-12:30\", 00:00 to 23:59, the end after the start",
                        text));
        });
}

// Hours of a day: 8 is 8:00 to 8:59.
void ReadHours(Section& section, ParentalUser& user) {
    for (std::size_t day = 0; day < kDays.size(); ++day) {
        std::vector<std::uint8_t> hours;
        section.Read(kDays[day], hours, 0, 23);
        for (const std::uint8_t hour : hours) user.hours[day][hour] = true;
    }
}

void ReadAllowedSites(Section& section, std::string_view key, std::vector<ParentalAllowedSite>& sites) {
    section.Tables(key, [&](Section& inner) {
        ParentalAllowedSite site;
        inner.Need("host", site.host, kHost);
        inner.Read("path", site.path, kPath);
        inner.Read("kind", site.kind, 0, 255);
        inner.Read("subdomains", site.subdomains);
        site.place = inner.Where();
        sites.push_back(std::move(site));
    });
}

void ReadSiteRules(Section& section, ParentalUser& user) {
    section.Tables("blocked_sites", [&](Section& inner) {
        ParentalSiteRule rule;
        bool subdomains = false;
        bool wholeSite = true;
        inner.Need("host", rule.host, kHost);
        inner.Read("path", rule.path, kPath);
        inner.Read("whole_site", wholeSite);
        inner.Read("subdomains", subdomains);
        inner.Read("kind", rule.kind, 0, 255);
        rule.flag = wholeSite && rule.path.empty() ? 1 : 0;
        rule.subdomains = subdomains ? 1 : 0;
        rule.place = inner.Where();
        inner.ReadArray("addresses", "an array of addresses", [&](const toml::node& item) {
            std::string text;
            IpAddressRecord address{};
            if (!inner.CheckText("addresses", item, text, {64})) return;
            if (AddressOfText(text, address))
                rule.addresses.push_back(address);
            else
                inner.Complain(
                    item, fmt::format("\"{}\" is no address; allowed: such as \"192.0.2.1\" or \"2001:db8::1\"", text));
        });
        user.siteRules.push_back(std::move(rule));
    });
}

// By its identifier or by its name; false for a name that findSid does not know.
bool ReadAccount(Section& section, ParentalUser& user, const FindSid& findSid) {
    std::string& account = user.account;
    section.Read("account", account, {200});
    if (account.empty()) return true;
    if (!account.starts_with("S-1-")) return !findSid || findSid(account, user.sid);
    if (!SidOfText(account, user.sid))
        section.Complain(
            *section.Find("account"),
            fmt::format("\"{}\" is no account identifier; allowed: such as \"S-1-5-21-1-2-3-1001\"", account));
    return true;
}

void ReadUser(Section& section, ParentalUser& user) {
    section.Read("profile", user.profile);
    section.Read("block_list", user.blockList);
    section.Read("categories", user.categories);
    section.Read("controlled", user.controlled);
    section.Read("exempt", user.exempt);
    section.Read("use_hour_grid", user.hourGrid);
    section.Read("blocked_categories", user.blockedCategories, 0, 65535);
    section.Table("schedule", [&](Section& inner) { ReadSchedule(inner, user); });
    section.Table("hours", [&](Section& inner) { ReadHours(inner, user); });
    section.Table("allowance", [&](Section& inner) {
        for (std::size_t day = 0; day < kDays.size(); ++day) inner.Read(kDays[day], user.allowance[day], 0, 65535);
    });
    ReadSiteRules(section, user);
    ReadAllowedSites(section, "allowed_sites", user.allowedSites);
    ReadAllowedSites(section, "schedule_allowed_sites", user.scheduleAllowedSites);
}

}  // namespace

void ReadParental(Section& section, Parental& parental, const FindSid& findSid, std::vector<Mistake>& warnings,
                  ParentalNotes& notes) {
    section.Read("mode", parental.mode, 0, 255);
    section.Read("strictness", parental.strictness, 0, 255);
    if (const toml::node* const node = section.Find("mode")) notes.mode = PlaceOf(*node);
    if (const toml::node* const node = section.Find("strictness")) notes.strictness = PlaceOf(*node);
    section.Tables("users", [&](Section& inner) {
        ParentalUser user;
        user.place = inner.Where();
        bool isKept = ReadAccount(inner, user, findSid);
        if (!isKept) {
            // One schedule for all users is that of the first entry, whoever its account is.
            isKept = parental.mode == TARN_PC_ONE_FOR_ALL;
            const toml::source_position& place = inner.Find("account")->source().begin;
            warnings.push_back(
                {place.line, place.column,
                 fmt::format("this machine has no account \"{}\"{}", user.account,
                             isKept ? ", which changes nothing: with mode 1 the first entry holds for everyone"
                                    : ", so this entry is left out; wanted: the name of one, or an identifier such as "
                                      "\"S-1-5-21-1-2-3-1001\"")});
        }
        ReadUser(inner, user);
        (isKept ? parental.users : notes.leftOut).push_back(std::move(user));
    });
}

}  // namespace tarn::policy
