#include "url/request_parser.h"

#include <cstring>
#include <gtest/gtest.h>
#include <memory>
#include <string>

namespace tarn::url {
namespace {

// Parses from a heap block of exactly the text's size, so that a read past the end is seen.
template <class Parse>
bool FromExactBlock(std::string_view text, Parse&& parse) {
    const std::unique_ptr<std::uint8_t[]> block(new std::uint8_t[text.size()]);
    if (!text.empty()) std::memcpy(block.get(), text.data(), text.size());
    return parse(base::Bytes(block.get(), text.size()));
}

bool ParseHttp(std::string_view text, ParsedRequest& out) {
    return FromExactBlock(text, [&](base::Bytes bytes) { return ParseHttpRequest(bytes, out); });
}

bool ParseFtp(std::string_view text, UrlText& matchPath, UrlText& displayPath) {
    return FromExactBlock(text, [&](base::Bytes bytes) { return ParseFtpCommand(bytes, matchPath, displayPath); });
}

std::string Request(const std::string& line, const std::string& host) {
    return line + "\r\nHost: " + host + "\r\n\r\n";
}

struct HttpCase {
    const char* request;
    const char* host;
    const char* path;
    const char* url;
};

const HttpCase kHttpCases[] = {
    {"GET / HTTP/1.1\r\nHost: Example.ORG:8080\r\n", "example.org", "", "Example.ORG:8080"},
    {"GET / HTTP/1.1\r\nUser-Agent: x\r\nHost: a.example\r\nAccept: */*\r\n\r\n", "a.example", "", "a.example"},
    {"CONNECT example.org:443 HTTP/1.1\r\nHost: example.org:443\r\n", "example.org", "/", "https://example.org:443"},
    {"GET http://example.net//x//y?q#f HTTP/1.0\r\nHost: example.net\r\n", "example.net", "/x/y", "example.net/x/y"},
    {"GET /x HTTP/1.1\r\nHost: [::1]:80\r\n", "[::1]", "/x", "[::1]:80/x"},
    {"POST /Form HTTP/1.1\r\nHost: Example.net\r\n", "example.net", "/form", "Example.net/Form"},
    {"GET HTTP://Example.net/X HTTP/1.1\r\nHost: example.net\r\n", "example.net", "/x", "example.net/X"},
    {"GET ftp://example.net/X HTTP/1.1\r\nHost: example.net\r\n", "example.net", "/x", "example.net/X"},
    {"GET https://example.net/X HTTP/1.1\r\nHost: example.net\r\n", "example.net", "/x", "example.net/X"},
    {"GET http://https://example.net/X HTTP/1.1\r\nHost: example.net\r\n", "example.net", "/https:/example.net/x",
     "example.net/https:/example.net/X"},
    // The root in its other spellings.
    {"GET http:/// HTTP/1.1\r\nHost: example.net\r\n", "example.net", "", "example.net"},
    {"GET http://example.net/ HTTP/1.1\r\nHost: example.net\r\n", "example.net", "/", "example.net/"},
    {"GET http://example.net HTTP/1.1\r\nHost: example.net\r\n", "example.net", "/", "example.net/"},
    {"GET  HTTP/1.1\r\nHost: example.net\r\n", "example.net", "/", "example.net/"},
    {"CONNECT / HTTP/1.1\r\nHost: Example.net\r\n", "example.net", "", "https://Example.net"},
    // A target that begins with the host loses it, whatever follows.
    {"GET EXAMPLE.net/x HTTP/1.1\r\nHost: example.NET\r\n", "example.net", "/x", "example.NET/x"},
    {"GET example.network/x HTTP/1.1\r\nHost: example.net\r\n", "example.net", "/work/x", "example.net/work/x"},
    {"GET http://example.net:8080/x HTTP/1.1\r\nHost: example.net:8080\r\n", "example.net", "/:8080/x",
     "example.net:8080/:8080/x"},
    {"GET http://other.example/x HTTP/1.1\r\nHost: example.net\r\n", "example.net", "/other.example/x",
     "example.net/other.example/x"},
    // Port, brackets and dots of the host.
    {"GET /x HTTP/1.1\r\nHost: :80\r\n", "", "/x", ":80/x"},
    {"GET /x HTTP/1.1\r\nHost: ...\r\n", "", "/x", ".../x"},
    {"GET /x HTTP/1.1\r\nHost: ..a.example..:80\r\n", "a.example", "/x", "..a.example..:80/x"},
    {"GET /x HTTP/1.1\r\nHost: a]b]c\r\n", "a]", "/x", "a]b]c/x"},
    {"GET /x HTTP/1.1\r\nHost: a:b]c\r\n", "a:b]", "/x", "a:b]c/x"},
    // CONNECT cuts its target at the first ":", a scheme's too.
    {"CONNECT http://example.net HTTP/1.1\r\nHost: example.net\r\n", "example.net", "/http",
     "https://example.net/http"},
    {"CONNECT example.org/X:443 HTTP/1.1\r\nHost: example.org\r\n", "example.org", "/x", "https://example.org/X"},
    {"CONNECT example.org?x HTTP/1.1\r\nHost: example.org\r\n", "example.org", "/", "https://example.org/"},
    // The target ends at the first " HTTP/1.".
    {"GET /a b HTTP/1.1 HTTP/1.1\r\nHost: a\r\n", "a", "/a b", "a/a b"},
    {"GET /x HTTP/1.9\r\nHost: a\r\n", "a", "/x", "a/x"},
    // Blanks behind "Host: " belong to the value.
    {"GET /x HTTP/1.1\r\nHost:  a \r\n", " a ", "/x", " a /x"},
    {"GET /x HTTP/1.1\r\nX-Host: a\r\nHost: b\r\n", "a", "/x", "a/x"},
};

TEST(HttpRequest, CaseTable) {
    for (const HttpCase& c : kHttpCases) {
        ParsedRequest out;
        ASSERT_TRUE(ParseHttp(c.request, out)) << c.request;
        EXPECT_EQ(out.host.View(), c.host) << c.request;
        EXPECT_EQ(out.path.View(), c.path) << c.request;
        EXPECT_EQ(out.url.View(), c.url) << c.request;
        EXPECT_EQ(std::string(out.host.Text()), c.host) << "terminated";
        EXPECT_EQ(std::string(out.path.Text()), c.path) << "terminated";
        EXPECT_EQ(std::string(out.url.Text()), c.url) << "terminated";
    }
}

TEST(HttpRequest, Refusals) {
    for (const char* request : {
             "",
             "GET",
             "GET ",
             "get / HTTP/1.1\r\nHost: a\r\n",
             "HEAD / HTTP/1.1\r\nHost: a\r\n",
             " GET / HTTP/1.1\r\nHost: a\r\n",
             "GET / http/1.1\r\nHost: a\r\n",
             "GET / HTTP/2.0\r\nHost: a\r\n",
             "GET /HTTP/1.1\r\nHost: a\r\n",
             "GET / HTTP/1.1\r\nhost: a\r\n",
             "GET / HTTP/1.1\r\nHost:a\r\n",
             "GET / HTTP/1.1\r\nHost:\ta\r\n",
             "GET / HTTP/1.1\r\n\r\n",
             "GET / HTTP/1.1\r\nHost: \r\n",
             "GET / HTTP/1.1\r\nHost: a",
             "GET / HTTP/1.1\r\nHost: a\n\n",
             "GET / HTTP/1.1\r\nHost: a\r",
         }) {
        ParsedRequest out;
        EXPECT_FALSE(ParseHttp(request, out)) << request;
    }
}

TEST(HttpRequest, HostIsSearchedFromTheStart) {
    ParsedRequest out;
    ASSERT_TRUE(ParseHttp("GET /Host: x HTTP/1.1\r\nHost: example.net\r\n", out));
    EXPECT_EQ(out.host.View(), "x http/1.1");
}

TEST(HttpRequest, OnlyTheFirstRequestOfTheDataCounts) {
    ParsedRequest out;
    ASSERT_TRUE(
        ParseHttp(Request("GET /first HTTP/1.1", "one.example") + Request("GET /second HTTP/1.1", "two.example"), out));
    EXPECT_EQ(out.host.View(), "one.example");
    EXPECT_EQ(out.path.View(), "/first");
}

TEST(HttpRequest, AHostLineOfTheBodyCountsWhenTheHeadersHoldNone) {
    ParsedRequest out;
    ASSERT_TRUE(ParseHttp("POST /x HTTP/1.1\r\nContent-Length: 21\r\n\r\nHost: body.example\r\n", out));
    EXPECT_EQ(out.host.View(), "body.example");
    ASSERT_TRUE(ParseHttp(Request("POST /x HTTP/1.1", "head.example") + "Host: body.example\r\n", out));
    EXPECT_EQ(out.host.View(), "head.example");
}

TEST(HttpRequest, RootKeepsTheDotsOfTheHost) {
    ParsedRequest out;
    ASSERT_TRUE(ParseHttp(Request("GET / HTTP/1.1", ".Example.org."), out));
    EXPECT_EQ(out.host.View(), ".example.org.");
    EXPECT_EQ(out.url.View(), ".Example.org.");
}

TEST(HttpRequest, TextEndsAtTheFirstNul) {
    const std::string request = Request("GET /x HTTP/1.1", "example.org") + "tail";
    const std::size_t needed = request.find("\r\n", request.find("Host: ")) + 2;
    for (std::size_t at = 0; at < request.size(); ++at) {
        std::string cut = request;
        cut[at] = '\0';
        ParsedRequest out;
        EXPECT_EQ(ParseHttp(cut, out), at >= needed) << "NUL at " << at;
    }
}

TEST(HttpRequest, EveryTruncationStaysInside) {
    for (const HttpCase& c : kHttpCases) {
        const std::string_view request = c.request;
        for (std::size_t length = 0; length < request.size(); ++length) {
            ParsedRequest out;
            // Up to the line end of the host nothing can succeed, behind it nothing changes.
            if (ParseHttp(request.substr(0, length), out)) {
                EXPECT_EQ(out.host.View(), c.host) << length;
                EXPECT_EQ(out.url.View(), c.url) << length;
            }
        }
    }
}

TEST(HttpRequest, BytesPastTheLimitAreNotSeen) {
    // "Host: a\r\n" ends exactly at byte 2047, then one byte later.
    const std::string start = "GET /x HTTP/1.1\r\nX: ";
    const std::string end = "\r\nHost: a\r\n";
    const std::string fits = start + std::string(2047 - start.size() - end.size(), 'p') + end;
    ASSERT_EQ(fits.size(), 2047U);
    ParsedRequest out;
    EXPECT_TRUE(ParseHttp(fits, out));
    EXPECT_TRUE(ParseHttp(fits + std::string(3000, 'q'), out));
    const std::string late = start + std::string(2048 - start.size() - end.size(), 'p') + end;
    EXPECT_FALSE(ParseHttp(late, out));
    EXPECT_FALSE(ParseHttp(late + std::string(3000, 'q'), out));
}

TEST(HttpRequest, TargetBound) {
    ParsedRequest out;
    // The URL must hold host and path together: 1 + 1022 characters, then one more.
    EXPECT_TRUE(ParseHttp(Request("GET /" + std::string(1021, 'a') + " HTTP/1.1", "h"), out));
    EXPECT_EQ(out.url.Length(), 1023U);
    EXPECT_FALSE(ParseHttp(Request("GET /" + std::string(1022, 'a') + " HTTP/1.1", "h"), out));
    // The target itself: 1023 characters, of which the query is cut, then one more.
    EXPECT_TRUE(ParseHttp(Request("GET /?" + std::string(1021, 'a') + " HTTP/1.1", "h"), out));
    EXPECT_EQ(out.path.View(), "/");
    EXPECT_FALSE(ParseHttp(Request("GET /?" + std::string(1022, 'a') + " HTTP/1.1", "h"), out));
    // A "/" put in front of a path of 1023 characters does not fit.
    EXPECT_FALSE(ParseHttp(Request("GET " + std::string(1023, 'a') + " HTTP/1.1", "..."), out));
}

TEST(HttpRequest, HostBound) {
    ParsedRequest out;
    EXPECT_TRUE(ParseHttp(Request("GET / HTTP/1.1", std::string(259, 'H')), out));
    EXPECT_EQ(out.host.View(), std::string(259, 'h'));
    EXPECT_EQ(out.url.View(), std::string(259, 'H'));
    EXPECT_FALSE(ParseHttp(Request("GET / HTTP/1.1", std::string(260, 'h')), out));
    EXPECT_TRUE(ParseHttp(Request("CONNECT / HTTP/1.1", std::string(259, 'h')), out));
    EXPECT_EQ(out.url.Length(), 267U);
}

TEST(HttpRequest, ClearEmptiesTheThreeTexts) {
    ParsedRequest out;
    ASSERT_TRUE(ParseHttp(Request("GET /x HTTP/1.1", "a"), out));
    out.Clear();
    EXPECT_TRUE(out.host.Empty() && out.path.Empty() && out.url.Empty());
}

struct FtpCase {
    const char* data;
    const char* matchPath;
    const char* displayPath;
};

const FtpCase kFtpCases[] = {
    {"RETR File.Txt\r\n", "/file.txt", "/File.Txt"},
    {"RETR /Dir/File\r\n", "/dir/file", "/Dir/File"},
    {"RETR  x\r\n", "/ x", "/ x"},
    {"CWD Dir\r\nLIST\r\n", "/dir", "/Dir"},
    {"CWD //a\r\n", "//a", "//a"},
    {"RETR a\nb\r\n", "/a\nb", "/a\nb"},
    {"LIST\r\n", "/", "/"},
    {"NLIST", "/", "/"},
};

TEST(FtpCommand, CaseTable) {
    for (const FtpCase& c : kFtpCases) {
        UrlText matchPath;
        UrlText displayPath;
        ASSERT_TRUE(ParseFtp(c.data, matchPath, displayPath)) << c.data;
        EXPECT_EQ(matchPath.View(), c.matchPath);
        EXPECT_EQ(displayPath.View(), c.displayPath);
    }
}

TEST(FtpCommand, Refusals) {
    for (const char* data : {"", "USER anonymous\r\n", "retr x\r\n", "RETR\r\n", " RETR x\r\n", "RETR \r\n", "CWD \r\n",
                             "CWD\tx\r\n", "xCWD y\r\n", " RETR x\r\nLIST\r\n"}) {
        UrlText matchPath;
        UrlText displayPath;
        matchPath.Assign("old");
        EXPECT_FALSE(ParseFtp(data, matchPath, displayPath)) << data;
        EXPECT_EQ(matchPath.View(), "") << data;
    }
}

TEST(FtpCommand, ListAnywhereIsTheRoot) {
    UrlText matchPath;
    UrlText displayPath;
    EXPECT_TRUE(ParseFtp("NOOP\r\nxLIST -la\r\n", matchPath, displayPath));
    EXPECT_EQ(matchPath.View(), "/");
    EXPECT_EQ(displayPath.View(), "/");
}

TEST(FtpCommand, RetrBehindCwdIsRefused) {
    UrlText matchPath;
    UrlText displayPath;
    EXPECT_FALSE(ParseFtp("CWD a\r\nRETR b\r\n", matchPath, displayPath));
    EXPECT_TRUE(ParseFtp("RETR b\r\nCWD a\r\n", matchPath, displayPath));
    EXPECT_EQ(matchPath.View(), "/b");
}

TEST(FtpCommand, BytesPastTheLimitAreNotSeen) {
    UrlText matchPath;
    UrlText displayPath;
    const std::string command = "CWD a\r\n";
    const std::string rest(kMaxRequestLength - command.size() - 4, ' ');
    EXPECT_TRUE(ParseFtp(command + rest + "RETR b\r\n", matchPath, displayPath)) << "its blank is past the limit";
    EXPECT_EQ(matchPath.View(), "/a");
    EXPECT_FALSE(ParseFtp(command + rest.substr(1) + "RETR b\r\n", matchPath, displayPath));
}

TEST(FtpCommand, CommandWithoutLineEndIsCopiedAsItStands) {
    UrlText matchPath;
    UrlText displayPath;
    EXPECT_TRUE(ParseFtp("RETR File", matchPath, displayPath));
    EXPECT_EQ(matchPath.View(), "file");
    EXPECT_EQ(displayPath.View(), "File");
    EXPECT_TRUE(ParseFtp("CWD ", matchPath, displayPath));
    EXPECT_EQ(matchPath.View(), "");
    EXPECT_TRUE(ParseFtp(std::string_view("RETR a\0b\r\n", 10), matchPath, displayPath)) << "a NUL ends the text";
    EXPECT_EQ(displayPath.View(), "a");
}

TEST(FtpCommand, Bounds) {
    UrlText matchPath;
    UrlText displayPath;
    EXPECT_TRUE(ParseFtp("RETR " + std::string(1022, 'A') + "\r\n", matchPath, displayPath));
    EXPECT_EQ(matchPath.View(), "/" + std::string(1022, 'a'));
    EXPECT_FALSE(ParseFtp("RETR " + std::string(1023, 'A') + "\r\n", matchPath, displayPath));
    EXPECT_TRUE(ParseFtp("RETR /" + std::string(1022, 'A') + "\r\n", matchPath, displayPath));
    EXPECT_FALSE(ParseFtp("RETR /" + std::string(1023, 'A') + "\r\n", matchPath, displayPath));
    EXPECT_TRUE(ParseFtp("RETR " + std::string(1023, 'A'), matchPath, displayPath));
    EXPECT_FALSE(ParseFtp("RETR " + std::string(1024, 'A'), matchPath, displayPath));
    // "LIST" behind the 2047th byte is not seen.
    EXPECT_TRUE(ParseFtp(std::string(2043, 'x') + "LIST", matchPath, displayPath));
    EXPECT_FALSE(ParseFtp(std::string(2044, 'x') + "LIST", matchPath, displayPath));
}

TEST(FtpCommand, EveryTruncationStaysInside) {
    for (const FtpCase& c : kFtpCases) {
        const std::string_view data = c.data;
        for (std::size_t length = 0; length < data.size(); ++length) {
            UrlText matchPath;
            UrlText displayPath;
            if (!ParseFtp(data.substr(0, length), matchPath, displayPath)) {
                EXPECT_TRUE(matchPath.Empty());
            }
        }
    }
}

}  // namespace
}  // namespace tarn::url
