// No scan of a request or a packet asks for memory, whatever its kind and whichever rule decides it; only browsing
// protection's table of programs, and the ring and lists that are made before, take some. All of this program's
// allocations are counted here: those of new and, by the linker's --wrap, those of malloc, calloc and realloc. SMB
// frames have a program of their own.
#include <cstdint>
#include <gtest/gtest.h>
#include <string>
#include <vector>

#include "lists/record_owners.h"
#include "network/frame_bytes.h"
#include "network/packet_scan.h"
#include "support/failing_allocations.h"
#include "url/dns_message.h"
#include "url/profile_records.h"
#include "url/quiet_world.h"
#include "url/tls_hello.h"

namespace tarn::url {
namespace {

const IpAddressRecord kRemote{TARN_FAMILY_IPV4, {203, 0, 113, 5}};
const IpAddressRecord kAnswered{TARN_FAMILY_IPV4, {203, 0, 113, 77}};  // an answer of the ring
constexpr std::uint32_t kDefault = TARN_REASON_DEFAULT;

std::string Get(const std::string& host, const std::string& target = "/some/path.html?id=7") {
    return "GET " + target + " HTTP/1.1\r\nHost: " + host + "\r\nAccept: */*\r\n\r\n";
}

struct NoAllocation : testing::Test {
    NoAllocation() {
        EXPECT_TRUE(world.ringAllocated);
        lists::UrlListOwner whole{"white.test", "*anywhere.test/x"};
        lists::UrlListOwner user{"excused.test"};
        lists::UrlListOwner internal{"internal.test"};
        world.lists.webSecurityInternal.Publish(whole.Record());
        world.lists.browsingProtectionInternal.Publish(internal.Record());
        world.lists.user.Publish(user.Record());
        lists::ThreatListOwner malicious;
        malicious.Add("malicious.test", true, {{"Threat", "/"}});
        malicious.Add("excused.test", true, {{"Threat", ""}});
        malicious.Sort();
        world.lists.malicious.Publish(malicious.Record());
        lists::PhishingListOwner phishing;
        phishing.Add("phishing.test", false, {"/some"});
        phishing.Sort();
        world.lists.phishing.Publish(phishing.Record());
        Profile(0);
        IdsBlockRequest idsBlocked{};
        base::CopyText(idsBlocked.hostName, sizeof idsBlocked.hostName, "idsblocked.test");
        base::CopyText(idsBlocked.requestText, sizeof idsBlocked.requestText, "/some/path.html HTTP/1.1");
        world.idsBlockedList.Add(idsBlocked);
        DnsAnswerEntry answer{};
        answer.addressCount = 1;
        base::CopyText(answer.hostName, sizeof answer.hostName, "Answered.Test");
        answer.addresses[0] = kAnswered;
        world.dnsRing.Store(answer);
    }

    void Profile(std::uint8_t categorySwitch) {
        ProfileShape shape;
        shape.categorySwitch = categorySwitch;
        shape.sites = {
            {"blocked.test", ""}, {"paths.test", "/some", 0, 1, 0}, {"numbered.test", "", 1, 1, 0, {kAnswered}}};
        shape.allowed = {"allowed.test"};
        shape.scheduleAllowed = {"always.test"};
        shape.blockedCategories = {50};
        const ProfileRecords records({shape});
        ASSERT_TRUE(parental::CopyPcSettings(records.Record(), world.parental));
        world.profiles = lists::PublishProfiles(world.parental);
    }

    // The allocations of one scan, which must come to this verdict.
    std::uint64_t Count(OwnedRequest request, std::uint32_t allow, std::uint32_t reason, bool result = true) {
        const std::uint64_t before = support::Allocations();
        const bool judged = world.Scan(request.Get());
        const std::uint64_t count = support::Allocations() - before;
        EXPECT_EQ(judged, result);
        EXPECT_EQ(world.verdict.allow, allow);
        EXPECT_EQ(world.verdict.reason, reason);
        return count;
    }
    std::uint64_t Http(const std::string& data, std::uint32_t allow, std::uint32_t reason) {
        return Count({TARN_KIND_HTTP, data, kRemote, 80}, allow, reason);
    }
    std::uint64_t Tls(const std::string& data, const IpAddressRecord& remote, std::uint32_t allow,
                      std::uint32_t reason) {
        return Count({TARN_KIND_TLS, data, remote, 443}, allow, reason);
    }
    std::uint64_t Ftp(const std::string& data, const IpAddressRecord& remote, std::uint32_t allow,
                      std::uint32_t reason) {
        return Count({TARN_KIND_FTP, data, remote, 21}, allow, reason);
    }
    std::uint64_t Extension(const std::string& url, std::uint32_t allow, std::uint32_t reason) {
        OwnedRequest request(TARN_KIND_TLS, url + '\0', kRemote, 443);
        const std::uint64_t before = support::Allocations();
        const bool judged = world.ScanExtension(request.Get());
        const std::uint64_t count = support::Allocations() - before;
        EXPECT_TRUE(judged);
        EXPECT_EQ(world.verdict.allow, allow);
        EXPECT_EQ(world.verdict.reason, reason);
        return count;
    }

    QuietWorld world;
};

TEST_F(NoAllocation, TheCountersSeeNewAndMalloc) {
    const std::uint64_t before = support::Allocations();
    const std::vector<int> byNew(100);
    EXPECT_EQ(support::Allocations(), before + 1);
    parental::OwnedArray<char> byMalloc;
    const std::uint64_t middle = support::Allocations();
    EXPECT_TRUE(byMalloc.Allocate(100, {}));
    EXPECT_EQ(support::Allocations(), middle + 1);
}

// Made and cleared as start and end of the library do it, also with content.
template <class List>
std::uint64_t CountOfEmptyLife() {
    const std::uint64_t before = support::Allocations();
    List list;
    List other;
    list = std::move(other);
    static_assert(noexcept(list.Clear()));
    list.Clear();
    return support::Allocations() - before;
}

TEST_F(NoAllocation, EmptyListsOwnNothing) {
    EXPECT_EQ(CountOfEmptyLife<lists::InternalWhiteList>(), 0U);
    EXPECT_EQ(CountOfEmptyLife<lists::UserWhiteList>(), 0U);
    EXPECT_EQ(CountOfEmptyLife<lists::MaliciousList>(), 0U);
    EXPECT_EQ(CountOfEmptyLife<lists::PhishingList>(), 0U);
    EXPECT_EQ(CountOfEmptyLife<lists::BlockedSites>(), 0U);
    EXPECT_EQ(CountOfEmptyLife<lists::AllowedSites>(), 0U);
    EXPECT_EQ(CountOfEmptyLife<lists::PublishedLists>(), 0U);
    const std::uint64_t before = support::Allocations();
    const lists::PublishedProfile profile;
    EXPECT_TRUE(profile.sites.Empty());
    EXPECT_EQ(support::Allocations(), before);
}

TEST_F(NoAllocation, ClearingFullListsTakesNoMemory) {
    const std::uint64_t before = support::Allocations();
    world.lists.Clear();
    world.profiles.clear();
    world.browsingProtection.Clear();
    EXPECT_EQ(support::Allocations(), before);
    EXPECT_FALSE(world.lists.malicious.Find("malicious.test", "/").has_value());
}

TEST_F(NoAllocation, Http_AllowedBeforeTheLists) {
    EXPECT_EQ(Http("no request at all", TARN_ALLOW, kDefault), 0U);
    EXPECT_EQ(Http(Get("www.white.test"), TARN_ALLOW, kDefault), 0U);
    EXPECT_EQ(Http(Get("sub.anywhere.test", "/x"), TARN_ALLOW, kDefault), 0U);
    EXPECT_EQ(Http(Get("sub.allowed.test"), TARN_ALLOW, kDefault), 0U);
    EXPECT_EQ(Count({TARN_KIND_HTTP, Get("plain.test"), {TARN_FAMILY_IPV4, {10, 1, 2, 3}}, 80}, TARN_ALLOW, kDefault),
              0U);
    EXPECT_EQ(Count({9, Get("plain.test"), kRemote, 80}, TARN_ALLOW, kDefault), 0U);
}

TEST_F(NoAllocation, Http_DecidedByTheLists) {
    EXPECT_EQ(Http(Get("www.blocked.test"), TARN_BLOCK, TARN_REASON_PARENTAL_SITE), 0U);
    EXPECT_EQ(Http(Get("paths.test"), TARN_BLOCK, TARN_REASON_PARENTAL_SITE), 0U);
    EXPECT_EQ(Http(Get("excused.test"), TARN_ALLOW, TARN_REASON_MALICIOUS_WHITE_LISTED), 0U);
    EXPECT_EQ(Http(Get("phishing.test"), TARN_BLOCK, TARN_REASON_PHISHING), 0U);
    EXPECT_EQ(Http(Get("idsblocked.test"), TARN_BLOCK, TARN_REASON_IDS_BLOCKED), 0U);
    EXPECT_EQ(Http(Get(std::string(250, 'h'), '/' + std::string(900, 'p')), TARN_ALLOW, kDefault), 0U);
}

TEST_F(NoAllocation, Http_OutsideTheSchedule) {
    world.allows.Write([](bool& flag) { flag = false; });
    EXPECT_EQ(Http(Get("plain.test"), TARN_BLOCK, TARN_REASON_SCHEDULE), 0U);
    EXPECT_EQ(Http(Get("always.test"), TARN_ALLOW, kDefault), 0U);
}

TEST_F(NoAllocation, Http_DecidedByCategories) {
    Profile(1);
    EXPECT_EQ(Http(Get("plain.test"), TARN_ALLOW, kDefault), 0U);
    quietAnswers.category = 50;
    EXPECT_EQ(Http(Get("plain.test"), TARN_BLOCK, TARN_REASON_PARENTAL_CATEGORY), 0U);
    quietAnswers.category = 3;
    EXPECT_EQ(Http(Get("plain.test"), TARN_BLOCK, TARN_REASON_PHISHING), 0U);
    EXPECT_EQ(Http(Get("internal.test"), TARN_ALLOW, kDefault), 0U);
    EXPECT_EQ(Count({TARN_KIND_HTTP, Get("plain.test"), kRemote, 80, true}, TARN_STOPPED_BEFORE_CATEGORIES, kDefault),
              0U);
}

// The action against a program takes memory once: when the program comes into the table.
TEST_F(NoAllocation, Http_AgainstAProgramThatIsKnown) {
    world.browsingProtection.Reset({u"browser.exe", u"another-browser.exe"});
    EXPECT_GT(Http(Get("malicious.test"), TARN_BLOCK, TARN_REASON_MALICIOUS), 0U);
    EXPECT_EQ(Http(Get("malicious.test"), TARN_BLOCK, TARN_REASON_MALICIOUS), 0U);
    quietAnswers.category = 2;
    EXPECT_EQ(Http(Get("plain.test"), TARN_BLOCK, TARN_REASON_MALICIOUS_CATEGORY), 0U);
    quietAnswers.categoryCount = 0;
    quietAnswers.malicious = 1;
    EXPECT_EQ(Http(Get("plain.test"), TARN_BLOCK, TARN_REASON_MALICIOUS), 0U);
    EXPECT_EQ(Http(Get("internal.test"), TARN_ALLOW, TARN_REASON_MALICIOUS_WHITE_LISTED), 0U);
}

TEST_F(NoAllocation, AgainstAnExcludedBrowserNeverAnything) {
    world.browsingProtection.Reset({u"reader.exe"});
    EXPECT_EQ(Http(Get("malicious.test"), TARN_BLOCK, TARN_REASON_MALICIOUS), 0U);
    EXPECT_EQ(world.browsingProtection.ActedOnCount(), 0U);
}

TEST_F(NoAllocation, Ftp) {
    EXPECT_EQ(Ftp("RETR dir/File.zip\r\n", kRemote, TARN_ALLOW, kDefault), 0U);
    EXPECT_EQ(Ftp("LIST -la\r\n", kRemote, TARN_ALLOW, kDefault), 0U);
    EXPECT_EQ(Ftp("USER somebody\r\n", kRemote, TARN_ALLOW, kDefault), 0U);
}

TEST_F(NoAllocation, Tls) {
    EXPECT_EQ(Tls(TlsHello("Plain.Test"), kRemote, TARN_ALLOW, kDefault), 0U);
    EXPECT_EQ(Tls(TlsHello("phishing.test"), kRemote, TARN_ALLOW, kDefault), 0U);
    EXPECT_EQ(Tls(TlsHello("blocked.test"), kRemote, TARN_BLOCK, TARN_REASON_PARENTAL_SITE), 0U);
    EXPECT_EQ(Tls(TlsHello(""), kRemote, TARN_ALLOW, kDefault), 0U);
    EXPECT_EQ(Tls(TlsHello(""), kAnswered, TARN_ALLOW, kDefault), 0U);
    EXPECT_EQ(Tls("\x16\x03", kAnswered, TARN_ALLOW, kDefault), 0U);
    const IpAddressRecord ipv6{TARN_FAMILY_IPV6, {0x20, 1, 0xD, 0xB8, 1}};
    EXPECT_EQ(Tls(TlsHello("plain.test"), ipv6, TARN_ALLOW, kDefault), 0U);
    quietAnswers.httpsBlock = 1;
    EXPECT_EQ(Tls(TlsHello("plain.test"), kRemote, TARN_BLOCK, TARN_REASON_HTTPS_INSPECTION), 0U);
}

TEST_F(NoAllocation, Dns) {
    const auto dns = [&](const std::string& message, std::uint32_t allow, std::uint32_t reason, bool result) {
        return Count({TARN_KIND_HTTP, message, kRemote, 53}, allow, reason, result);
    };
    const std::string address("\xCB\x00\x71\x05", 4);
    EXPECT_EQ(dns(DnsResponse("plain.test", {address, address, std::string(16, '\x20')}), TARN_ALLOW, kDefault, true),
              0U);
    EXPECT_EQ(dns(DnsResponse("www.blocked.test", {address}), TARN_BLOCK, TARN_REASON_PARENTAL_SITE, true), 0U);
    EXPECT_EQ(dns(DnsResponse("plain.test", {}), TARN_ALLOW, kDefault, true), 0U);
    EXPECT_EQ(dns("too short", TARN_ALLOW, kDefault, false), 0U);
}

// Around the whole ring, twice.
TEST_F(NoAllocation, Dns_UntilTheRingIsFull) {
    std::uint64_t count = 0;
    for (std::uint32_t i = 0; i < 2 * network::DnsAnswerRing::kSlots; ++i) {
        const std::string address{'\x0B', static_cast<char>(i >> 16), static_cast<char>(i >> 8), static_cast<char>(i)};
        count += Count({TARN_KIND_HTTP, DnsResponse("plain.test", {address}), kRemote, 53}, TARN_ALLOW, kDefault);
    }
    EXPECT_EQ(count, 0U);
    EXPECT_EQ(Tls(TlsHello(""), {TARN_FAMILY_IPV4, {11, 0, 0x0B, 0xB9}}, TARN_ALLOW, kDefault), 0U);
}

TEST_F(NoAllocation, Extension) {
    Profile(1);
    EXPECT_EQ(Extension("https://plain.test/some", TARN_ALLOW, kDefault), 0U);
    EXPECT_EQ(Extension("https://www.allowed.test/some", TARN_ALLOW, kDefault), 0U);
    EXPECT_EQ(Extension("https://blocked.test/some", TARN_BLOCK, TARN_REASON_PARENTAL_SITE), 0U);
    quietAnswers.category = 50;
    EXPECT_EQ(Extension("https://plain.test/some", TARN_BLOCK, TARN_REASON_PARENTAL_CATEGORY), 0U);
    quietAnswers.category = 2;
    EXPECT_EQ(Extension("https://plain.test/some", TARN_BLOCK, TARN_REASON_MALICIOUS_CATEGORY), 0U);
    quietAnswers.category = 40;
    quietAnswers.malicious = 1;
    EXPECT_EQ(Extension("https://excused.test/some", TARN_ALLOW, TARN_REASON_MALICIOUS_WHITE_LISTED), 0U);
}

struct SignatureAnswer {
    std::uint32_t action = TARN_SIGNATURE_NO_ATTACK;
    std::uint32_t reason = 0;
};
SignatureAnswer signatureAnswer;

std::uint8_t TARN_CALL QuietSignatures(const std::uint8_t*, std::uint32_t, std::uint16_t, std::uint8_t,
                                       PacketVerdict* verdict) {
    verdict->action = signatureAnswer.action;
    verdict->reason = signatureAnswer.reason;
    return 1;
}

struct NoAllocationPacket : testing::Test {
    NoAllocationPacket() {
        signatureAnswer = {};
        world.companions.packetSignatures = modules::PacketSignatures{.PKSScanPacket = QuietSignatures};
        std::vector<IdsRule> rules(2);
        rules[0].id = 7;
        rules[1].id = 9;
        rules[1].excluded = 1;
        IdsSettingsRecord record{};
        record.ruleCount = static_cast<std::uint32_t>(rules.size());
        record.rules = rules.data();
        EXPECT_TRUE(world.settings.idsRules.CopySelected(record, 50));
    }

    // The allocations of one scan, which must come to this action.
    std::uint64_t Count(const network::FrameBytes& frame, std::uint32_t action, std::uint16_t ruleId = 7) {
        const network::PacketScanContext context{world.companions, world.settings, strictness, attackers};
        verdict = {};
        const std::uint64_t before = support::Allocations();
        const bool judged =
            ScanPacket(context, frame.data(), static_cast<std::uint32_t>(frame.size()), ruleId, 1, verdict);
        const std::uint64_t count = support::Allocations() - before;
        EXPECT_TRUE(judged);
        EXPECT_EQ(verdict.action + 0, action);
        return count;
    }
    static network::FrameBytes From(const network::Ipv4& source, std::uint16_t port = 445) {
        network::FrameFields fields;
        fields.source = source;
        fields.destinationPort = port;
        return network::MakeFrame(fields);
    }

    QuietWorld world;
    network::ReportedAttackerList attackers;
    std::uint8_t strictness = 0;
    PacketVerdict verdict{};
};

TEST_F(NoAllocationPacket, OfTheSignatures) {
    const network::FrameBytes frame = From(network::kPeer, 80);
    EXPECT_EQ(Count(frame, TARN_PACKET_ALLOW), 0U);
    EXPECT_EQ(Count({0x02}, TARN_PACKET_ALLOW), 0U);
    signatureAnswer.action = TARN_SIGNATURE_ATTACK;
    EXPECT_EQ(Count(frame, TARN_PACKET_BLOCK), 0U);
    EXPECT_EQ(verdict.ruleId + 0, 7) << "the texts of the rule were filled in";
    EXPECT_EQ(Count(frame, TARN_PACKET_ALLOW, 9), 0U) << "an excluded rule";
    signatureAnswer.reason = TARN_PACKET_REASON_KNOWN_ATTACK;
    EXPECT_EQ(Count(frame, TARN_PACKET_BLOCK), 0U);
    world.settings.idsIpsStatus = 0;
    EXPECT_EQ(Count(frame, TARN_PACKET_ALLOW), 0U);
}

TEST_F(NoAllocationPacket, OfAnAttacker) {
    EXPECT_EQ(Count(From(network::kPeer), TARN_PACKET_ALLOW), 0U) << "not malicious";
    quietAnswers.category = TARN_CATEGORY_MALICIOUS;
    EXPECT_EQ(Count(From(network::kPeer), TARN_PACKET_BLOCK), 0U);
    EXPECT_EQ(Count(From(network::kPeer), TARN_PACKET_BLOCK), 0U) << "reported before";
}

// Past the full list, which is then emptied.
TEST_F(NoAllocationPacket, OfMoreAttackersThanAreKept) {
    quietAnswers.category = TARN_CATEGORY_MALICIOUS;
    std::uint64_t count = 0;
    for (std::size_t i = 0; i <= network::ReportedAttackerList::kMaxInsertions; ++i)
        count +=
            Count(From({11, 0, static_cast<std::uint8_t>(i >> 8), static_cast<std::uint8_t>(i)}), TARN_PACKET_BLOCK);
    EXPECT_EQ(count, 0U);
    EXPECT_FALSE(attackers.Contains(network::AddressRecord({11, 0, 0, 0}))) << "the list was emptied";
}

}  // namespace
}  // namespace tarn::url
