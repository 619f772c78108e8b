// A policy in which entries are dead, the same one mended, and what the library says to addresses with either.
// The lines that the linter must name end in "# dead".
#ifndef TARN_TESTS_COMPANIONS_DEAD_ENTRIES_H
#define TARN_TESTS_COMPANIONS_DEAD_ENTRIES_H

namespace tarn::policy {

inline constexpr const char* kDeadPolicy = R"(
malicious_patterns = ["http://pattern.example/drop/"] # dead

[features]
browsing_protection = true
anti_phishing = true
https_inspection = true

[white_lists]
web_security = [
    "https://white.example/in/", # dead
    "*", # dead
    "asked.example/a?b=1", # dead
    "port.example:8080/in", # dead
    "wild.white.example*/a", # dead
    "fine.example",
    "grün.example/x", # dead
]
browsing_protection = ["http://cdn.example"] # dead
user = ["*.user.example"] # dead

[[malicious_sites]]
host = "white.example"
[[malicious_sites]]
host = "star.example"
[[malicious_sites]]
host = "asked.example"
[[malicious_sites]]
host = "port.example"
[[malicious_sites]]
host = "wild.white.example"
[[malicious_sites]]
host = "xn--grn-ioa.example"
[[malicious_sites]]
host = "a.user.example"
[[malicious_sites]]
host = "open.example"

[[malicious_sites]] # dead
host = "www.evil.example"
[[malicious_sites]] # dead
host = "münchen.example"
threat = "Kept.Name" # as it stands
[[malicious_sites]] # dead
host = "half.example"
whole_site = false
[[malicious_sites]]
host = "paths.example"
whole_site = false
threats = [
    { name = "A", path = "nopath" }, # dead
    { name = "B", path = "/a?b=1" }, # dead
    { name = "C", path = "/x#y" }, # dead
]
[[malicious_sites]]
host = "root.example"
whole_site = false
[[malicious_sites.threats]] # dead
name = "D"
path = "/"
[[malicious_sites]] # dead
host = "10.1.1.1"

[[phishing_sites]] # dead
host = "käse.example"
[[phishing_sites]]
host = "forms.example"
whole_site = false
paths = [
    "sign-in", # dead
    "/Upper", # dead
    "/q?x=1", # dead
]
[[phishing_sites]] # dead
host = "empty.example"
whole_site = false
[[phishing_sites]] # dead
host = "192.168.1.1"

[https_inspection]
blocked_hosts = [
    "https://dot.example/", # dead
    "*.tls.example", # dead
]

[[sites]] # dead
address = "*.cat.example"
categories = [2]
[[sites]] # dead
address = "bücher.example"
categories = [2]
[[sites]]
address = "cdn.example"
categories = [2]

[parental]
mode = 1

[[parental.users]]
block_list = true

[[parental.users.blocked_sites]] # dead
host = "http://x.example"
[[parental.users.blocked_sites]] # dead
host = "games.example/play"
[[parental.users.blocked_sites]] # dead
host = "nopath.example"
path = "nopath"
[[parental.users.blocked_sites]] # dead
host = "query.example"
path = "/a?b"
[[parental.users.blocked_sites]] # dead
host = "dot-end.example."
[[parental.users.blocked_sites]] # dead
host = "*.wild.example"
[[parental.users.blocked_sites]] # dead
host = "nothing.example"
whole_site = false

[[parental.users.allowed_sites]] # dead
host = "https://open.example/"
)";

// As the findings say.
inline constexpr const char* kMendedPolicy = R"(
malicious_patterns = ["pattern.example/drop/"]
[features]
browsing_protection = true
anti_phishing = true
https_inspection = true
[white_lists]
web_security = ["white.example/in", "*star.example", "asked.example/a", "port.example/in", "wild.white.example/a",
    "fine.example", "xn--grn-ioa.example/x"]
browsing_protection = ["cdn.example"]
user = ["a.user.example"]
[[malicious_sites]]
host = "white.example"
[[malicious_sites]]
host = "star.example"
[[malicious_sites]]
host = "asked.example"
[[malicious_sites]]
host = "port.example"
[[malicious_sites]]
host = "wild.white.example"
[[malicious_sites]]
host = "xn--grn-ioa.example"
[[malicious_sites]]
host = "a.user.example"
[[malicious_sites]]
host = "open.example"
[[malicious_sites]]
host = "evil.example"
[[malicious_sites]]
host = "xn--mnchen-3ya.example"
[[malicious_sites]]
host = "half.example"
[[malicious_sites]]
host = "paths.example"
whole_site = false
threats = [{ name = "A", path = "/nopath" }, { name = "B", path = "/a" }, { name = "C", path = "/x" }]
[[malicious_sites]]
host = "root.example"
whole_site = true
[[phishing_sites]]
host = "xn--kse-qla.example"
[[phishing_sites]]
host = "forms.example"
whole_site = false
paths = ["/sign-in", "/upper", "/q"]
[[phishing_sites]]
host = "empty.example"
[https_inspection]
blocked_hosts = ["dot.example", "a.tls.example"]
[[sites]]
address = "cat.example"
categories = [2]
[[sites]]
address = "xn--bcher-kva.example"
categories = [2]
[[sites]]
address = "cdn.example"
categories = [2]
[parental]
mode = 1
[[parental.users]]
block_list = true
[[parental.users.blocked_sites]]
host = "10.1.1.1"
[[parental.users.blocked_sites]]
host = "192.168.1.1"
[[parental.users.blocked_sites]]
host = "x.example"
[[parental.users.blocked_sites]]
host = "games.example"
path = "/play"
[[parental.users.blocked_sites]]
host = "nopath.example"
path = "/nopath"
[[parental.users.blocked_sites]]
host = "query.example"
path = "/a"
[[parental.users.blocked_sites]]
host = "dot-end.example"
[[parental.users.blocked_sites]]
host = "wild.example"
subdomains = true
[[parental.users.blocked_sites]]
host = "nothing.example"
[[parental.users.allowed_sites]]
host = "open.example"
)";

struct JudgedAddress {
    const char* address;
    unsigned dead;    // reason of the verdict with kDeadPolicy
    unsigned mended;  // with kMendedPolicy
    bool isRepaired;  // --fix mends the entry by itself
};

// 26 lets pass, 9 too; 0, 1, 2, 6 and 15 block.
inline constexpr JudgedAddress kJudgedAddresses[] = {
    {"http://pattern.example/drop/x", 26, 2, true},
    {"http://white.example/in", 2, 26, true},
    {"http://star.example/", 2, 26, false},
    {"http://asked.example/a?b=1", 2, 26, false},
    {"http://port.example:8080/in", 2, 26, false},
    {"http://wild.white.example/a", 2, 26, false},
    {"http://xn--grn-ioa.example/x", 2, 26, true},
    {"http://cdn.example/", 1, 26, true},
    {"http://a.user.example/", 2, 9, false},
    {"http://www.evil.example/", 26, 2, true},
    {"http://evil.example/a", 26, 2, true},
    {"http://xn--mnchen-3ya.example/", 26, 2, true},
    {"http://half.example/", 26, 2, false},
    {"http://paths.example/nopath", 26, 2, true},
    {"http://paths.example/a?b=1", 26, 2, false},
    {"http://paths.example/x", 26, 2, false},
    {"http://root.example/", 26, 2, false},
    {"http://10.1.1.1/", 26, 6, false},
    {"http://xn--kse-qla.example/", 26, 0, true},
    {"http://forms.example/sign-in", 26, 0, true},
    {"http://forms.example/Upper", 26, 0, true},
    {"http://forms.example/q?x=1", 26, 0, false},
    {"http://empty.example/", 26, 0, false},
    {"http://192.168.1.1/", 26, 6, false},
    {"https://dot.example/", 26, 15, true},
    {"https://a.tls.example/", 26, 15, false},
    {"http://a.cat.example/", 26, 1, false},
    {"http://xn--bcher-kva.example/", 26, 1, true},
    {"http://x.example/", 26, 6, true},
    {"http://games.example/play", 26, 6, false},
    {"http://nopath.example/nopath", 26, 6, true},
    {"http://query.example/a?b", 26, 6, false},
    {"http://dot-end.example/", 26, 6, true},
    {"http://a.wild.example/", 26, 6, false},
    {"http://nothing.example/", 26, 6, false},
    {"http://open.example/", 2, 26, true},
};

}  // namespace tarn::policy

#endif
