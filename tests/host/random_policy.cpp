#include "host/random_policy.h"

#include <fmt/format.h>
#include <set>

namespace tarn::host {

namespace {

constexpr const char* kHosts[] = {"a.example",   "www.a.example", "b.a.example",   "c.b.a.example",
                                  "xa.example",  "b.example",     "www.b.example", "a.example.b.example",
                                  "example",     "192.0.2.7",     "198.51.100.7",  "10.0.0.5",
                                  "192.168.0.0", "a.youtube.com", "wwwb.example",  "a.example.a.example",
                                  "10.1",        "0x0a000005",    "[2001:db8::7]", "a-example"};
// In lists there are others, too.
constexpr const char* kListedHosts[] = {"A.Example", "a.example", "b.a.example",   "b.example",
                                        "example",   ".example",  "xa.example",    "192.0.2.7",
                                        "10.0.0.5",  "a",         "www.a.example", "le"};
constexpr const char* kPaths[] = {"",       "/",  "/p",  "/p/",     "/p/q",    "/pq",  "/P",   "/p?x",     "//p",
                                  "/p/q/r", "/q", "/?p", "/p.html", "/a/../p", "/p#q", "/%70", "/p/health"};
constexpr const char* kListedPaths[] = {"/p", "/p/", "/", "/p/q", "p", "/P", "/q", "/p/q/r", "/p."};

template <std::size_t N>
const char* Pick(const char* const (&texts)[N], std::uint32_t number) {
    return texts[number % N];
}

}  // namespace

std::string RandomPolicy::Host() {
    return Pick(kHosts, random_());
}

std::string RandomPolicy::ListedHost() {
    return OneIn(4) ? Pick(kListedHosts, random_()) : Pick(kListedHosts, Below(5));
}

std::string RandomPolicy::Path() {
    return Pick(kPaths, random_());
}

std::string RandomPolicy::ListedPath() {
    return Pick(kListedPaths, random_());
}

std::string RandomPolicy::Texts(const char* key, std::string (RandomPolicy::*text)()) {
    std::string line = fmt::format("{} = [", key);
    const std::uint32_t count = Below(4);
    const bool isSpread = OneIn(2);
    for (std::uint32_t i = 0; i < count; ++i)
        line +=
            fmt::format("{}\"{}\"{}", isSpread ? "\n  " : " ", (this->*text)(), i + 1 < count || OneIn(2) ? "," : " ");
    return line + (isSpread ? " # end\n]\n" : "]\n");
}

std::string RandomPolicy::WhiteListed() {
    if (OneIn(4)) return "*" + (OneIn(2) ? ListedPath() : ListedHost());
    return ListedHost() + (OneIn(2) ? ListedPath() : "");
}

std::string RandomPolicy::Pattern() {
    constexpr const char* kPatterns[] = {"/p", "/q*", "*/q", "a*/p", "b.example", "*.html", "ep", "health"};
    return Pick(kPatterns, random_());
}

std::string RandomPolicy::Categories() {
    std::string text = "[";
    for (std::uint32_t i = Below(4); i > 0; --i) text += fmt::format("{}, ", 2 + Below(4));
    return text + "]";
}

std::string RandomPolicy::Threats() {
    std::string text = "[";
    for (std::uint32_t i = Below(3); i > 0; --i)
        text += fmt::format("{{ name = \"T{}\", path = \"{}\" }},{}", i, ListedPath(), OneIn(2) ? "\n " : " ");
    return text + "]";
}

std::string RandomPolicy::Times() {
    constexpr const char* kDays[] = {"sunday", "monday", "tuesday", "wednesday", "thursday", "friday", "saturday"};
    std::string text;
    for (const char* day : kDays) {
        text += fmt::format("{} = [", day);
        for (std::uint32_t i = Below(3); i > 0; --i) {
            const std::uint32_t start = Below(22);
            const bool toMidnight = OneIn(4);
            text += fmt::format("\"{:02}:{:02}-{:02}:{:02}\", ", start, Below(60),
                                toMidnight ? 23 : start + 1 + Below(23 - start), toMidnight ? 59 : Below(59));
        }
        text += "]\n";
    }
    return text;
}

std::string RandomPolicy::AllowedSites(const char* key) {
    std::string text;
    for (std::uint32_t i = Below(3); i > 0; --i) {
        text += fmt::format("[[parental.users.{}]]\nhost = \"{}\"\n", key, ListedHost());
        if (OneIn(2)) text += fmt::format("path = \"{}\"\n", ListedPath());
        if (OneIn(3)) text += fmt::format("kind = {}\n", 1 + Below(2));
        if (OneIn(3)) text += fmt::format("subdomains = {}\n", Flag(2));
    }
    return text;
}

std::string RandomPolicy::BlockedSites() {
    constexpr const char* kAddresses[] = {"192.0.2.7", "10.0.0.5", "198.51.100.7", "2001:db8::7"};
    std::string text;
    for (std::uint32_t i = Below(5); i > 0; --i) {
        text += fmt::format("[[parental.users.blocked_sites]]\nhost = \"{}\"\n", ListedHost());
        if (OneIn(2)) text += fmt::format("path = \"{}\"\n", ListedPath());
        if (OneIn(3)) text += fmt::format("whole_site = {}\n", Flag(2));
        if (OneIn(3)) text += fmt::format("subdomains = {}\n", Flag(2));
        if (OneIn(3)) text += fmt::format("kind = {}\n", Below(6));
        if (OneIn(3))
            text +=
                fmt::format("addresses = [\"{}\", \"{}\"]\n", Pick(kAddresses, random_()), Pick(kAddresses, random_()));
    }
    return text;
}

std::string RandomPolicy::User(bool isFirst) {
    std::string text = "[[parental.users]]\n";
    if (!isFirst || OneIn(2))
        text += fmt::format("account = \"{}\"\n", OneIn(2) ? ownAccount_ : std::string("S-1-5-21-1-2-3-1001"));
    text += fmt::format("profile = {}\nblock_list = {}\ncategories = {}\nblocked_categories = {}\n", Flag(6), Flag(4),
                        Flag(4), Categories());
    if (OneIn(4)) text += fmt::format("[parental.users.schedule]\non = {}\n{}", Flag(4), Times());
    return text + AllowedSites("allowed_sites") + BlockedSites() + AllowedSites("schedule_allowed_sites");
}

std::string RandomPolicy::List() {
    constexpr const char* kForms[] = {"{}\n", "0.0.0.0 {}\n", "||{}^\n", "@@||{}^\n", "# {}\n"};
    std::string text;
    for (std::uint32_t i = Below(5); i > 0; --i)
        text += fmt::format(fmt::runtime(kForms[OneIn(2) ? 0 : Below(5)]), ListedHost());
    return text;
}

// Before the first table.
std::string RandomPolicy::Included() {
    constexpr const char* kItems[] = {"\"lists/*.txt\"",
                                      "{ files = \"lists/a.txt\", list = \"phishing_sites\" }",
                                      "{ files = \"lists/b.txt\", list = \"sites\", categories = [2, 4] }",
                                      "{ files = \"lists/*.txt\", list = \"white_lists.user\" }",
                                      "{ files = \"lists/b.txt\", list = \"white_lists.web_security\" }",
                                      "{ files = \"lists/a.txt\", list = \"https_inspection.blocked_hosts\" }"};
    lists_ = {{"lists/a.txt", List()}, {"lists/b.txt", List()}};
    std::string text = "include = [";
    for (std::uint32_t i = 1 + Below(2); i > 0; --i) text += fmt::format("\n  {},", Pick(kItems, random_()));
    return text + "]\n";
}

std::string RandomPolicy::Text() {
    lists_.clear();
    std::string text = OneIn(3) ? Included() : "";
    text += Texts("malicious_patterns", &RandomPolicy::Pattern);
    text += fmt::format(
        "[features]\nbrowsing_protection = {}\nanti_phishing = {}\nintrusion_prevention = {}\nhttps_inspection = {}\n"
        "agent_status = {}\n",
        Flag(4), Flag(4), Flag(2), Flag(2), OneIn(3) ? 1 : 0);
    text += "[white_lists]\n";
    if (OneIn(2)) text += Texts("web_security", &RandomPolicy::WhiteListed);
    if (OneIn(2)) text += Texts("browsing_protection", &RandomPolicy::WhiteListed);
    if (OneIn(2)) text += Texts("user", &RandomPolicy::WhiteListed);
    std::set<std::string> used{"A.Example"};  // a host is listed once, whatever its letter case
    for (std::uint32_t i = Below(4); i > 0; --i) {
        const std::string host = ListedHost();
        if (!used.insert(host).second) continue;
        text += fmt::format("[[malicious_sites]]\nhost = \"{}\"\nwhole_site = {}\nthreats = {}\n", host, Flag(2),
                            Threats());
    }
    used = {"A.Example"};
    for (std::uint32_t i = Below(4); i > 0; --i) {
        const std::string host = ListedHost();
        if (!used.insert(host).second) continue;
        text += fmt::format("[[phishing_sites]]\nhost = \"{}\"\nwhole_site = {}\n{}", host, Flag(2),
                            Texts("paths", &RandomPolicy::ListedPath));
    }
    for (std::uint32_t i = Below(5); i > 0; --i)
        text += fmt::format("[[sites]]\naddress = \"{}{}\"\ncategories = {}\n", ListedHost(),
                            OneIn(2) ? ListedPath() : "", Categories());
    text += "[https_inspection]\n" + Texts("blocked_hosts", &RandomPolicy::ListedHost);
    const std::uint32_t mode = OneIn(4) ? Below(4) : 1;
    text += fmt::format("[parental]\nmode = {}\nstrictness = {}\n", mode, Below(5));
    const std::uint32_t users = OneIn(6) ? 0 : 1 + Below(3);
    for (std::uint32_t i = 0; i < users; ++i) text += User(i == 0);
    return text;
}

RandomAddress RandomPolicy::Address() {
    RandomAddress address;
    address.isReported = OneIn(4);
    const bool isSecure = address.isReported || OneIn(3);
    address.url = fmt::format("{}://{}{}{}", isSecure ? "https" : "http", Host(), OneIn(8) ? ":8080" : "", Path());
    if (OneIn(30)) address.url += "/" + std::string(900 + Below(300), 'x');
    if (OneIn(6)) address.server = OneIn(2) ? "10.0.0.5" : "198.51.100.7";
    if (OneIn(20)) address.server = "2001:db8::7";
    return address;
}

std::string RandomPolicy::Time() {
    return fmt::format("2026-03-{:02}T{:02}:{:02}", 1 + Below(7), Below(24), Below(60));
}

}  // namespace tarn::host
