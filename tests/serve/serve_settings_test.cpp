// The table [serve] of a policy, and what becomes of it.
#include "host/serve/serve_settings.h"

#include <gmock/gmock.h>

#include "policy/policy_reader.h"

namespace tarn::host::serve {
namespace {

using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;

TEST(ServeSettings, AreThoseOfTheLoopbackWithoutATable) {
    ServeSettings settings;
    std::string mistake;
    ASSERT_TRUE(ReadSettings({}, settings, mistake)) << mistake;
    EXPECT_EQ(FormatEndpoint(*settings.proxy), "127.0.0.1:8080");
    EXPECT_EQ(FormatEndpoint(*settings.socks), "127.0.0.1:1080");
    EXPECT_EQ(FormatEndpoint(*settings.status), "127.0.0.1:8081");
    EXPECT_FALSE(settings.dns) << "nobody to ask";
    EXPECT_FALSE(settings.refusesUnknown);
}

TEST(ServeSettings, AreReadFromThePolicy) {
    const auto read = policy::ParsePolicy(R"([serve]
proxy = "[::1]:3128"
socks = "off"
dns = "127.0.0.1:5300"
dns_upstream = ["192.0.2.53", "[2001:db8::53]:5353"]
dns_refused = "block_page"
block_page_address = "192.0.2.7"
unknown = "refuse"
drain_seconds = 3
connections = 77
events = "events.jsonl"
events_megabytes = 2
events_files = 9
hosts = ["Nas.example=192.0.2.9"]
)");
    ASSERT_THAT(read.mistakes, IsEmpty());
    ServeSettings settings;
    std::string mistake;
    ASSERT_TRUE(ReadSettings(read.policy.serve, settings, mistake)) << mistake;
    EXPECT_EQ(FormatEndpoint(*settings.proxy), "[::1]:3128");
    EXPECT_FALSE(settings.socks);
    ASSERT_THAT(settings.dnsUpstreams, SizeIs(2));
    EXPECT_EQ(FormatEndpoint(settings.dnsUpstreams[0]), "192.0.2.53:53");
    EXPECT_EQ(FormatEndpoint(settings.dnsUpstreams[1]), "[2001:db8::53]:5353");
    EXPECT_EQ(settings.dnsRefusal, DnsRefusal::kBlockPage);
    EXPECT_EQ(FormatIpAddress(*settings.blockPageAddress), "192.0.2.7");
    EXPECT_EQ(FormatEndpoint(*settings.blockPage), "192.0.2.7:80");
    EXPECT_TRUE(settings.refusesUnknown);
    EXPECT_EQ(settings.drain, std::chrono::seconds(3));
    EXPECT_EQ(settings.connections, 77U);
    EXPECT_EQ(settings.eventsFile, "events.jsonl");
    EXPECT_EQ(settings.eventsBytes, 2U * 1024 * 1024);
    EXPECT_EQ(settings.eventsFiles, 9U);
    EXPECT_EQ(FormatIpAddress(settings.hosts.at("nas.example")), "192.0.2.9");
}

TEST(ServeSettings, SayWhatIsWrongAndWhere) {
    const struct {
        const char* line;
        const char* text;
    } kCases[] = {{"proxy = \"localhost:8080\"", "allowed: an address and a port"},
                  {"proxy = \"127.0.0.1\"", "allowed: an address and a port"},
                  {"status = \"::1:80\"", "allowed: an address and a port"},
                  {"socks = \"127.0.0.1:0\"", "allowed: an address and a port"},
                  {"dns = 53", "allowed: a text"},
                  {"dns_upstream = [\"ns.example\"]", "allowed: an address"},
                  {"dns_refused = \"no\"", "allowed: nxdomain, zero, block_page"},
                  {"unknown = \"maybe\"", "allowed: pass, refuse"},
                  {"drain_seconds = 601", "allowed: 0 to 600"},
                  {"events_files = 0", "allowed: 1 to 100"},
                  {"hosts = [\"nas.example\"]", "allowed: a name and an address"},
                  {"hosts = [\"a/b=192.0.2.1\"]", "allowed: a name and an address"},
                  {"prxy = \"off\"", "unknown key"}};
    for (const auto& one : kCases) {
        const auto read = policy::ParsePolicy(std::string("[serve]\n\n") + one.line + "\n");
        ASSERT_THAT(read.mistakes, SizeIs(1)) << one.line;
        EXPECT_EQ(read.mistakes[0].line, 3U) << one.line;
        EXPECT_THAT(read.mistakes[0].text, HasSubstr(one.text)) << one.line;
    }
}

TEST(ServeSettings, OfTheCommandLineAreCheckedAsWell) {
    ServeSettings settings;
    for (const auto& spoil : std::vector<std::function<void(policy::ServeTable&)>>{
             [](auto& table) { table.proxy = "nowhere"; }, [](auto& table) { table.dnsUpstream = {"x"}; },
             [](auto& table) { table.dnsRefused = "x"; }, [](auto& table) { table.dnsRefused = "block_page"; },
             [](auto& table) { table.unknown = "x"; }, [](auto& table) { table.hosts = {"x"}; },
             [](auto& table) { table.status = "0.0.0.0:8081"; }, [](auto& table) { table.status = "[::]:8081"; },
             [](auto& table) { table.status = "192.0.2.7:8081"; }}) {
        policy::ServeTable table;
        spoil(table);
        std::string mistake;
        EXPECT_FALSE(ReadSettings(table, settings, mistake));
        EXPECT_THAT(mistake, HasSubstr("serve."));
    }
}

}  // namespace
}  // namespace tarn::host::serve
