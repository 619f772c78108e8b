#include "network/ids_blocked_list.h"

#include <atomic>
#include <chrono>
#include <cstring>
#include <future>
#include <gtest/gtest.h>
#include <memory>
#include <set>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace tarn::network {

// Runs hold while the list is locked for reading.
struct IdsBlockedListLock {
    template <class Hold>
    static void ForReading(const IdsBlockedList& list, Hold&& hold) {
        list.listed_.Read([&](const auto&) { hold(); });
    }
    template <class Hold>
    static void ForWriting(IdsBlockedList& list, Hold&& hold) {
        list.listed_.Write([&](const auto&) { hold(); });
    }
};

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
    EXPECT_FALSE(list.Contains("example.org", "/deep/")) << "and every look-up loses its own";
    Add(list, "example.org", "example.org//a///b#part HTTP/1.1");
    EXPECT_TRUE(list.Contains("example.org", "/a/b"));
}

TEST(IdsBlockedList, ThePathBeginsBehindTheHostsFirstOccurrence) {
    IdsBlockedList list;
    Add(list, "example.org", "example.org/from/example.org/on");
    EXPECT_TRUE(list.Contains("example.org", "/from/example.org/on"));
    EXPECT_FALSE(list.Contains("example.org", "/on"));
    Add(list, "www.example.net", "http://www.example.net/x");
    EXPECT_TRUE(list.Contains("example.net", "/x")) << "whatever stands before it goes too";
}

TEST(IdsBlockedList, TheTailBeginsAtItsFirstOccurrence) {
    IdsBlockedList list;
    Add(list, "example.org", "example.org/a HTTP/1.0 b HTTP/1.1");
    EXPECT_TRUE(list.Contains("example.org", "/a"));
    EXPECT_FALSE(list.Contains("example.org", "/a http/1.0 b"));
    Add(list, "example.org", "example.org/b HTTP/2");
    EXPECT_FALSE(list.Contains("example.org", "/b"));
    EXPECT_TRUE(list.Contains("example.org", "/b http/2")) << "the tail of another version stays";
}

TEST(IdsBlockedList, CapitalsOfTheRequestTextDoNotCount) {
    IdsBlockedList list;
    Add(list, "example.org", "WWW.EXAMPLE.ORG/PATH hTTp/1.1");
    EXPECT_TRUE(list.Contains("example.org", "/path"));
    EXPECT_EQ(list.Size(), 1U);
}

TEST(IdsBlockedList, ALookUpCutsNoTailAndNoHost) {
    IdsBlockedList list;
    Add(list, "example.org", "/a");
    EXPECT_TRUE(list.Contains("example.org", "/a"));
    EXPECT_FALSE(list.Contains("example.org", "/a HTTP/1.1"));
    EXPECT_FALSE(list.Contains("example.org", "example.org/a"));
    EXPECT_FALSE(list.Contains("example.org", "/example.org/a"));
}

TEST(IdsBlockedList, OneSlashASideIsRemoved) {
    for (const std::string host : {"//example.org", "example.org//", "//example.org//"}) {
        IdsBlockedList hosts;
        Add(hosts, host, "/x");
        EXPECT_FALSE(hosts.Contains("example.org", "/x")) << host;
        EXPECT_FALSE(hosts.Contains("/example.org/", "/x")) << host;
        EXPECT_TRUE(hosts.Contains(host, "/x")) << host;
    }
    IdsBlockedList list;
    Add(list, "example.net", "//path//");
    EXPECT_FALSE(list.Contains("example.net", "/path"));
    EXPECT_FALSE(list.Contains("example.net", "/path/"));
    EXPECT_TRUE(list.Contains("example.net", "/path//"));
    EXPECT_TRUE(list.Contains("example.net", "//path//")) << "runs in front become one";
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

// Would wait for ever on the write side.
TEST(IdsBlockedList, LookUpsAndWhatIsThereAlreadyTakeTheReadSide) {
    IdsBlockedList list;
    Add(list, "example.org", "/x");
    std::future<bool> asked;
    std::future<void> added;
    IdsBlockedListLock::ForReading(list, [&] {
        asked = std::async(std::launch::async, [&] { return list.Contains("example.org", "/x"); });
        added = std::async(std::launch::async, [&] { Add(list, "example.org", "/x"); });
        EXPECT_EQ(asked.wait_for(std::chrono::seconds(20)), std::future_status::ready);
        EXPECT_EQ(added.wait_for(std::chrono::seconds(20)), std::future_status::ready);
    });
    EXPECT_TRUE(asked.get());
    added.get();
    EXPECT_EQ(list.Size(), 1U);
}

TEST(IdsBlockedList, AnEmptyListIsAskedWithoutTheLock) {
    IdsBlockedList list;
    std::future<bool> asked;
    const auto ask = [&] {
        asked = std::async(std::launch::async, [&] { return list.Contains("example.org", "/x"); });
    };
    IdsBlockedListLock::ForWriting(list, [&] {
        ask();
        EXPECT_EQ(asked.wait_for(std::chrono::seconds(20)), std::future_status::ready);
    });
    EXPECT_FALSE(asked.get());
    Add(list, "example.org", "/x");
    ask();
    EXPECT_TRUE(asked.get());
}

// Would wait for ever for the lock.
TEST(IdsBlockedList, AHostOfWhichNothingIsListedIsAskedWithoutTheLock) {
    IdsBlockedList list;
    Add(list, "example.org", "/x");
    std::future<bool> asked;
    IdsBlockedListLock::ForWriting(list, [&] {
        asked = std::async(std::launch::async, [&] { return list.Contains("other.example", "/x"); });
        EXPECT_EQ(asked.wait_for(std::chrono::seconds(20)), std::future_status::ready);
    });
    EXPECT_FALSE(asked.get());
}

TEST(IdsBlockedList, AgreesWithASetOfPairs) {
    const auto host = [](std::size_t i) { return "h" + std::to_string(i * 7919 % 2000) + ".example"; };
    for (int round = 0; round < 2; ++round) {
        IdsBlockedList list;
        std::set<std::pair<std::string, std::string>> pairs;
        std::size_t wrong = 0;
        for (std::size_t i = 0; i < 1200; ++i) {
            const std::string path = "/" + std::to_string(i % 3);
            Add(list, (i % 2 == 0 ? "www." : "") + host(i), path);
            pairs.emplace(host(i), path);
            if (round == 1 && i == 600) {
                list.Clear();
                pairs.clear();
            }
            for (std::size_t j = i < 4 ? 0 : i - 4; j < i + 4; ++j)
                for (const char* const asked : {"/0", "/1", "/2"})
                    wrong += list.Contains(host(j), asked) != pairs.contains({host(j), asked}) ? 1U : 0U;
        }
        for (const auto& [one, path] : pairs) wrong += list.Contains(one, path) ? 0U : 1U;
        EXPECT_EQ(wrong, 0U);
        EXPECT_EQ(list.Size(), pairs.size());
    }
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
