#include "network/ids_blocked_list.h"

#include <atomic>
#include <cstring>
#include <gtest/gtest.h>
#include <memory>
#include <string>
#include <thread>
#include <vector>

namespace tarn::network {
namespace {

void Add(IdsBlockedList& list, const std::string& host, const std::string& text) {
    const auto request = std::make_unique<IdsBlockRequest>();
    std::memcpy(request->hostName, host.data(), std::min<std::size_t>(host.size(), 1024));
    std::memcpy(request->requestText, text.data(), std::min<std::size_t>(text.size(), 1024));
    list.Add(*request);
}

TEST(IdsBlockedList, APairIsKeptInKeyForm) {
    IdsBlockedList list;
    Add(list, "www.Example.org", "www.example.org/Path?q=1 HTTP/1.1");
    EXPECT_TRUE(list.Contains("example.org", "/path"));
    EXPECT_TRUE(list.Contains("WWW.EXAMPLE.ORG", "/PATH/"));
    EXPECT_TRUE(list.Contains("/example.org/", "path"));
    EXPECT_TRUE(list.Contains("example.org", "//path?x=2#y")) << "the asked path is normalised too";
    EXPECT_FALSE(list.Contains("example.org", "/path/x"));
    EXPECT_FALSE(list.Contains("example.org", "/")) << "the match is host and path together";
    EXPECT_FALSE(list.Contains("other.org", "/path"));
}

TEST(IdsBlockedList, ATextWithoutTheHostIsThePath) {
    IdsBlockedList list;
    Add(list, "example.org", "/bare/path");
    EXPECT_TRUE(list.Contains("example.org", "/bare/path"));
}

TEST(IdsBlockedList, TheHostsRootIsASlash) {
    IdsBlockedList list;
    Add(list, "example.org", "example.org");
    EXPECT_TRUE(list.Contains("example.org", "/"));
    EXPECT_TRUE(list.Contains("example.org", ""));
}

TEST(IdsBlockedList, TheTailIsCutBehindThePathOnly) {
    IdsBlockedList list;
    Add(list, "example.org", "example.org/Deep/ HTTP/1.0 and HTTP/1.1");
    EXPECT_FALSE(list.Contains("example.org", "/deep")) << "the slash before the tail stays";
    Add(list, "example.org", "example.org//a///b#part HTTP/1.1");
    EXPECT_TRUE(list.Contains("example.org", "/a/b"));
}

TEST(IdsBlockedList, TheSamePairTwiceLeavesOneEntry) {
    IdsBlockedList list;
    Add(list, "example.org", "/x");
    Add(list, "www.EXAMPLE.org/", "/X/");
    EXPECT_EQ(list.Size(), 1U);
    Add(list, "example.org", "/y");
    EXPECT_EQ(list.Size(), 2U);
}

TEST(IdsBlockedList, OnlyALeadingWwwIsRemovedAndOnlyOnce) {
    IdsBlockedList list;
    Add(list, "shop.www.example", "/x");
    EXPECT_TRUE(list.Contains("shop.www.example", "/x"));
    EXPECT_FALSE(list.Contains("shop.example", "/x"));
    Add(list, "www.www.example", "/x");
    EXPECT_TRUE(list.Contains("www.www.example", "/x"));
    EXPECT_FALSE(list.Contains("example", "/x"));
}

TEST(IdsBlockedList, AnEmptyHostAddsNothing) {
    IdsBlockedList list;
    Add(list, "", "/x");
    EXPECT_EQ(list.Size(), 0U);
}

TEST(IdsBlockedList, FullFieldsEndAtTheirLastByte) {
    IdsBlockedList list;
    Add(list, std::string(1024, 'h'), std::string(1024, 'p'));
    EXPECT_EQ(list.Size(), 0U) << "1023 characters and the '/' in front do not fit a path";
    Add(list, std::string(1024, 'h'), std::string(1022, 'p'));
    EXPECT_EQ(list.Size(), 1U);
    EXPECT_TRUE(list.Contains(std::string(1023, 'h'), std::string(1022, 'p')));
}

TEST(IdsBlockedList, ClearEmptiesIt) {
    IdsBlockedList list;
    Add(list, "example.org", "/x");
    list.Clear();
    EXPECT_FALSE(list.Contains("example.org", "/x"));
}

TEST(IdsBlockedList, ThreadsAddAndAskAtOnce) {
    IdsBlockedList list;
    Add(list, "always.example", "/x");
    std::atomic<int> wrong{0};
    std::vector<std::thread> threads;
    for (int writer = 0; writer < 2; ++writer)
        threads.emplace_back([&list] {
            for (int i = 0; i < 500; ++i) Add(list, "host" + std::to_string(i) + ".example", "/p");
        });
    for (int reader = 0; reader < 2; ++reader)
        threads.emplace_back([&list, &wrong] {
            for (int i = 0; i < 2000; ++i)
                if (!list.Contains("always.example", "/x") || list.Contains("never.example", "/x")) ++wrong;
        });
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(wrong.load(), 0);
    EXPECT_EQ(list.Size(), 501U);
    EXPECT_TRUE(list.Contains("host499.example", "/p"));
}

}  // namespace
}  // namespace tarn::network
