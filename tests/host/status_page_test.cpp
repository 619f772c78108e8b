// What the status page's address answers.
#include <gmock/gmock.h>
#include <string>
#include <vector>

#include "host/serve/pages/page_server.h"
#include "host/serve/pages/proxy_pac.h"

namespace tarn::host::serve {
namespace {

using ::testing::HasSubstr;
using ::testing::Not;

class PageServerTest : public ::testing::Test {
 protected:
    PageResponse Get(std::string_view target) { return Answer({"GET", target, "127.0.0.1:8081", "", "", ""}); }
    PageResponse Answer(const PageRequest& request) { return server_.Answer(request); }

    StatusFeed feed_;
    std::vector<std::string> explained_;
    PageServer server_{feed_,
                       {[] {
                            return Event{{"connections", 7}};
                        },
                        [this](const std::string& url) {
                            explained_.push_back(url);
                            return Event{{"url", url}};
                        }},
                       {OwnNames("127.0.0.1", 8081), "127.0.0.1:8080"}};
};

TEST_F(PageServerTest, EachPath_HasItsPage) {
    EXPECT_EQ(Get("/").Field("Content-Type"), "text/html; charset=utf-8");
    EXPECT_EQ(Get("/?x=1").status, 200);
    const PageResponse state = Get("/api/state");
    EXPECT_EQ(state.Field("Content-Type"), "application/json");
    EXPECT_EQ(Event::parse(state.body)["connections"], 7);
    EXPECT_EQ(Event::parse(state.body)["blocked"], 0);
    EXPECT_TRUE(Get("/api/events").isEventStream);
    EXPECT_EQ(Get("/api/events").Field("Content-Type"), "text/event-stream");
    EXPECT_EQ(Get("/proxy.pac").Field("Content-Type"), "application/x-ns-proxy-autoconfig");
    EXPECT_THAT(Get("/proxy.pac").body, HasSubstr("PROXY 127.0.0.1:8080"));
    for (const char* target : {"/favicon.ico", "", "*", "//", "/api", "/api/", "http://127.0.0.1:8081/"})
        EXPECT_EQ(Get(target).status, 404) << target;
}

TEST_F(PageServerTest, ForeignHostsAndOrigins_AreRefused) {
    for (const char* host : {"", "127.0.0.1", "127.0.0.1:8080", "evil.example", "evil.example:8081", "localhost",
                             "127.0.0.1:8081.evil.example"})
        EXPECT_EQ(Answer({"GET", "/", host, "", "", ""}).status, 403) << host;
    for (const char* host : {"127.0.0.1:8081", "localhost:8081", "LOCALHOST:8081"})
        EXPECT_EQ(Answer({"GET", "/", host, "", "", ""}).status, 200) << host;
    const std::string_view own = "127.0.0.1:8081";
    for (const char* origin : {"http://evil.example", "null", "https://127.0.0.1:8081", "http://127.0.0.1:9000",
                               "http://127.0.0.1:8081.evil.example"})
        EXPECT_EQ(Answer({"GET", "/api/state", own, origin, "", ""}).status, 403) << origin;
    EXPECT_EQ(Answer({"GET", "/api/state", own, "http://127.0.0.1:8081", "", ""}).status, 200);
    EXPECT_EQ(Answer({"GET", "/api/state", own, "", "cross-site", ""}).status, 403);
    EXPECT_EQ(Answer({"GET", "/api/explain?url=a", own, "", "same-site", ""}).status, 403);
    EXPECT_EQ(Answer({"GET", "/api/state", own, "", "same-origin", ""}).status, 200);
    EXPECT_EQ(Answer({"GET", "/", own, "", "cross-site", ""}).status, 200);  // a link
    EXPECT_TRUE(explained_.empty());
}

TEST_F(PageServerTest, OnlyGetAndHead_AreAnswered) {
    for (const char* method : {"POST", "PUT", "DELETE", "OPTIONS", "get", "CONNECT", ""}) {
        const PageResponse response = Answer({method, "/", "127.0.0.1:8081", "", "", ""});
        EXPECT_EQ(response.status, 405) << method;
        EXPECT_EQ(response.Field("Allow"), "GET, HEAD");
    }
    EXPECT_EQ(Answer({"HEAD", "/", "127.0.0.1:8081", "", "", ""}).body, Get("/").body);
}

TEST_F(PageServerTest, Explain_TakesADecodedAddress) {
    EXPECT_EQ(Get("/api/explain?url=https%3A%2F%2Fa.example%2F%3Fq%3D1%26r").status, 200);
    EXPECT_EQ(Get("/api/explain?x=1&url=a+b&url=c").status, 200);
    EXPECT_EQ(explained_, (std::vector<std::string>{"https://a.example/?q=1&r", "a b"}));
    for (const char* target :
         {"/api/explain", "/api/explain?", "/api/explain?url=", "/api/explain?url=%", "/api/explain?url=%0",
          "/api/explain?url=%zz", "/api/explain?url=a%00b", "/api/explain?url", "/api/explain?&&&"})
        EXPECT_EQ(Get(target).status, 400) << target;
    EXPECT_EQ(Get("/api/explain?url=" + std::string(9000, 'a')).status, 400);
    EXPECT_EQ(explained_.size(), 2U);
}

TEST_F(PageServerTest, EachAnswer_IsGuarded) {
    for (const char* target : {"/", "/api/state", "/api/events", "/proxy.pac", "/none"}) {
        EXPECT_EQ(Get(target).Field("X-Content-Type-Options"), "nosniff") << target;
        EXPECT_EQ(Get(target).Field("Cache-Control"), "no-store") << target;
        EXPECT_EQ(Get(target).Field("Access-Control-Allow-Origin"), "") << target;
    }
}

TEST(PageServer, OwnNames_AreThoseOfTheListener) {
    EXPECT_EQ(OwnNames("::1", 81), (std::vector<std::string>{"[::1]:81", "localhost:81"}));
    EXPECT_EQ(OwnNames("192.0.2.1", 81), (std::vector<std::string>{"192.0.2.1:81"}));
    EXPECT_EQ(OwnNames("127.0.0.1", 80),
              (std::vector<std::string>{"127.0.0.1:80", "localhost:80", "127.0.0.1", "localhost"}));
}

TEST(ProxyPac, OddAddress_IsNotPutIn) {
    EXPECT_THAT(ProxyPac("[::1]:8080"), HasSubstr("return \"PROXY [::1]:8080\";"));
    EXPECT_THAT(ProxyPac("a\"; evil(); \""), Not(HasSubstr("evil")));
    EXPECT_THAT(ProxyPac(""), HasSubstr("DIRECT"));
}

}  // namespace
}  // namespace tarn::host::serve
