// Which requests count as judged, by the bounds of the library.
#include "host/coverage.h"

#include <gmock/gmock.h>
#include <optional>
#include <sstream>

#include "host/composed_request.h"
#include "host/fake_environment.h"
#include "host/temporary_file.h"
#include "host/verdict_report.h"

namespace tarn::host {
namespace {

using testing::ContainsRegex;
using testing::HasSubstr;
using testing::IsEmpty;

const Endpoint kPublic{{false, {192, 0, 2, 1}}, 80};

Judgement NoVerdict() {
    return {};
}

Coverage OfHttp(const std::string& text, const Judgement& judgement = FakeLibrary::Allowed()) {
    return CoverageOf(HttpProtocol(), {reinterpret_cast<const std::uint8_t*>(text.data()), text.size()}, kPublic,
                      judgement, false);
}

std::string Get(const std::string& target, const std::string& host) {
    return "GET " + target + " HTTP/1.1\r\nHost: " + host + "\r\n\r\n";
}

std::string Repeated(std::size_t count) {
    return std::string(count, 'a');
}

struct Request {
    std::string text;
    Extent extent;
    const char* why;
};

class HttpCoverage : public testing::TestWithParam<Request> {};

TEST_P(HttpCoverage, FollowsTheBoundsOfTheScan) {
    const Coverage coverage = OfHttp(GetParam().text);
    EXPECT_EQ(coverage.extent, GetParam().extent) << coverage.why;
    EXPECT_THAT(std::string(coverage.why), HasSubstr(GetParam().why));
}

INSTANTIATE_TEST_SUITE_P(
    All, HttpCoverage,
    testing::Values(Request{Get("/", "a.example"), Extent::kWhole, ""},
                    Request{"POST /x HTTP/1.0\r\nHost: a.example\r\n\r\n", Extent::kWhole, ""},
                    Request{"CONNECT a.example:443 HTTP/1.1\r\nHost: a.example:443\r\n\r\n", Extent::kWhole, ""},
                    Request{"HEAD / HTTP/1.1\r\nHost: a.example\r\n\r\n", Extent::kNone, "GET, POST and CONNECT"},
                    Request{"GET /\r\nHost: a.example\r\n\r\n", Extent::kNone, "no HTTP/1 request line"},
                    Request{"GET / HTTP/1.1\r\nhost: a.example\r\n\r\n", Extent::kNone, "no \"Host: \" line"},
                    Request{"GET / HTTP/1.1\r\nHost: a.example", Extent::kNone, "no \"Host: \" line"},
                    Request{"GET / HTTP/1.1\r\nA: " + Repeated(2047) + "\r\nHost: a.example\r\n\r\n", Extent::kNone,
                            "in the first 2,047 bytes"},
                    Request{Get("/", Repeated(259)), Extent::kWhole, ""},
                    Request{Get("/", Repeated(260)), Extent::kNone, "longer than 259"},
                    Request{Get("/" + Repeated(1022), "b"), Extent::kNone, "host and path longer than 1,023"},
                    Request{Get("/" + Repeated(1021), "b"), Extent::kWhole, ""},
                    Request{Get("/x?" + Repeated(1020), "b.example"), Extent::kWhole, ""},
                    Request{Get("/x?" + Repeated(1021), "b.example"), Extent::kNone, "target longer than 1,023"},
                    Request{Get("http://b.example/" + Repeated(1006), "b.example"), Extent::kWhole, ""}));

TEST(Coverage, WhatARuleDecidedIsJudged) {
    EXPECT_TRUE(OfHttp("HEAD / HTTP/1.1\r\n\r\n", FakeLibrary::Malicious("X", "a")).IsWhole());
}

TEST(Coverage, WithoutAVerdictThereIsACause) {
    EXPECT_THAT(std::string(OfHttp(Get("/", "[2001:db8::1]"), NoVerdict()).why), HasSubstr("IPv6 address as host"));
    EXPECT_THAT(std::string(OfHttp(Get("/", Repeated(256)), NoVerdict()).why), HasSubstr("longer than 255"));
    const Coverage unknown = OfHttp(Get("/", "a.example"), NoVerdict());
    EXPECT_EQ(unknown.extent, Extent::kNone);
    EXPECT_THAT(std::string(unknown.why), HasSubstr("could not judge it"));
}

TEST(Coverage, APrivateServerIsLetPassBeforeTheThreatLists) {
    const std::string text = Get("/", "a.example");
    const base::Bytes data(reinterpret_cast<const std::uint8_t*>(text.data()), text.size());
    const auto isPrivate = [&](const char* address) {
        const Coverage coverage =
            CoverageOf(HttpProtocol(), data, {*ParseIpAddress(address), 80}, FakeLibrary::Allowed(), false);
        return coverage.extent == Extent::kPart && coverage.why.starts_with("private address");
    };
    for (const char* address :
         {"10.0.0.1", "10.255.255.254", "172.16.0.1", "172.31.255.254", "192.168.0.1", "169.254.7.7", "fd00::1"})
        EXPECT_TRUE(isPrivate(address)) << address;
    for (const char* address : {"10.0.0.0", "10.255.255.255", "172.15.255.255", "172.32.0.1", "11.0.0.1", "127.0.0.1",
                                "fc00::1", "fe80::1", "::1"})
        EXPECT_FALSE(isPrivate(address)) << address;
}

TEST(Coverage, AHelloIsReadWholeOrNotAtAll) {
    const auto of = [](std::vector<std::uint8_t> hello) {
        return CoverageOf(TlsProtocol(), hello, kPublic, FakeLibrary::Allowed(), false).why;
    };
    std::vector<std::uint8_t> hello = ComposeClientHello("a.example");
    EXPECT_THAT(std::string(of(hello)), IsEmpty());
    EXPECT_THAT(std::string(of(ComposeClientHello(""))), HasSubstr("without a server name"));
    hello.pop_back();
    EXPECT_THAT(std::string(of(hello)), HasSubstr("not whole"));
    hello = ComposeClientHello("a.example");
    hello[43] = 128;  // the length of the session id
    EXPECT_THAT(std::string(of(hello)), HasSubstr("not whole"));
}

TEST(Coverage, OfReportedUrls) {
    const Judgement allowed = FakeLibrary::Allowed();
    EXPECT_TRUE(CoverageOfReported(TARN_KIND_TLS, "https://a.example/", allowed).IsWhole());
    EXPECT_EQ(CoverageOfReported(TARN_KIND_HTTP, "http://a.example/", allowed).extent, Extent::kNone);
    EXPECT_EQ(CoverageOfReported(TARN_KIND_TLS, "https://a.example/" + Repeated(1005), allowed).extent, Extent::kWhole);
    EXPECT_EQ(CoverageOfReported(TARN_KIND_TLS, "https://a.example/" + Repeated(1006), NoVerdict()).why,
              "longer than 1,023 characters");
}

TEST(Coverage, IsSaidInTextAndJsonAndCounted) {
    FakeEnvironment environment;
    const std::string url = "http://10.20.30.10/";
    const Ran text = RunWith(environment, {"url", url, "http://a.example/"});
    EXPECT_THAT(text.out, HasSubstr("26 judged in part: private address"));
    EXPECT_THAT(text.out, HasSubstr("26 no rule decided"));
    EXPECT_THAT(text.out, HasSubstr("      1  request judged in part: private address"));
    const auto lines = JsonLines(RunWith(environment, {"url", "--json", url, "http://a.example/"}).out);
    EXPECT_EQ(lines[0]["judged"], "part");
    EXPECT_THAT(lines[0]["why_not_whole"].get<std::string>(), HasSubstr("private address"));
    EXPECT_EQ(lines[1]["judged"], "whole");
    EXPECT_EQ(lines[2]["judged_in_part"], 1);
    EXPECT_EQ(lines[2]["not_judged"], 0);
}

TEST(Coverage, TotalsTellWhatNoRuleDecidedFromWhatWasNotJudged) {
    FakeEnvironment environment;
    const std::string unjudged = "http://a.example/" + Repeated(1024);
    const std::vector<std::string> urls{"http://a.example/", unjudged, "http://b.example/", unjudged};
    const auto run = [&](std::vector<std::string> arguments) {
        arguments.insert(arguments.end(), urls.begin(), urls.end());
        return RunWith(environment, arguments).out;
    };
    EXPECT_THAT(run({"url"}), HasSubstr("      4  26 no rule decided, 2 of them not judged\n"));
    EXPECT_THAT(run({"url", "--brief"}),
                HasSubstr("  4 requests that no rule decided are left out, 2 of them not judged\n"));
    EXPECT_EQ(JsonLines(run({"url", "--json"})).back()["undecided_not_judged"], 2);
    EXPECT_THAT(RunWith(environment, {"url", "--brief", "http://a.example/"}).out,
                HasSubstr("  1 request that no rule decided is left out\n"));
}

TEST(Coverage, WhatAListLetPassIsToldFromWhatNoRuleDecided) {
    JudgedRequest plain;
    plain.protocol = &HttpProtocol();
    plain.view = {"a.example", "/"};
    plain.judgement = FakeLibrary::Allowed();
    JudgedRequest letPass = plain;
    letPass.entry = DecidingEntry{"white_lists.web_security", "a.example", "p.toml", 3};
    const auto told = [&](const ReportStyle& style) {
        std::ostringstream out;
        const auto report = MakeReport(out, style);
        report->BeginRound();
        report->Request(plain);
        report->Request(letPass);
        report->EndRound();
        report->Summary(std::nullopt, {});
        return out.str();
    };
    const std::string text = told({});
    EXPECT_THAT(text, HasSubstr("26 no rule decided\n"));
    EXPECT_THAT(text, ContainsRegex("26 let pass by a list +white_lists.web_security\n"));
    EXPECT_THAT(text, HasSubstr("      2  26 no rule decided, 1 of them let pass by a list\n"));
    EXPECT_THAT(told({.brief = true}),
                HasSubstr("  2 requests that no rule decided are left out, 1 of them let pass by a list\n"));
    EXPECT_EQ(JsonLines(told({.json = true})).back()["undecided_let_pass"], 1);
}

TEST(Coverage, WhatAListLetPassIsToldByTheCommands) {
    FakeEnvironment environment;
    const TemporaryFile policy("policy.toml", "[white_lists]\nweb_security = [\"shop.example\"]\n");
    const std::string out =
        RunWith(environment, {"--policy", policy.Path(), "url", "http://shop.example/", "http://a.example/"}).out;
    EXPECT_THAT(out, HasSubstr("26 let pass by a list"));
    EXPECT_THAT(out, HasSubstr("      2  26 no rule decided, 1 of them let pass by a list\n"));
}

}  // namespace
}  // namespace tarn::host
