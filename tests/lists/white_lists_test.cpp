#include "lists/white_lists.h"

#include <gtest/gtest.h>
#include <string>

#include "lists/plain_walk.h"
#include "lists/random_texts.h"
#include "lists/record_owners.h"

namespace tarn::lists {
namespace {

bool InUrlList(UrlListOwner owner, std::string_view url) {
    InternalWhiteList list;
    const UrlListRecord record = owner.Record();
    list.Publish(record);
    EXPECT_EQ(list.Matches(url), plain::MatchUrlList(url, record)) << url;
    return list.Matches(url);
}

bool InWhiteList(UrlListOwner owner, std::string_view url) {
    UserWhiteList list;
    const UrlListRecord record = owner.Record();
    list.Publish(record);
    EXPECT_EQ(list.Matches(url), plain::MatchPrefixWhiteList(url, record)) << url;
    return list.Matches(url);
}

TEST(InternalWhiteList, PrefixNeedsABoundary) {
    for (const char* url :
         {"example.org", "example.org/", "example.org/x", "example.org?q", "example.org#f", "EXAMPLE.org/x"})
        EXPECT_TRUE(InUrlList({"Example.ORG"}, url)) << url;
    for (const char* url : {"", "example.or", "example.organ", "example.org:80", "www.example.org", "example.org."})
        EXPECT_FALSE(InUrlList({"Example.ORG"}, url)) << url;
}

TEST(InternalWhiteList, OneTrailingSlashIsRemoved) {
    EXPECT_TRUE(InUrlList({"example.org/"}, "example.org"));
    EXPECT_TRUE(InUrlList({"example.org/"}, "example.org/x"));
    EXPECT_FALSE(InUrlList({"example.org//"}, "example.org")) << "the second one stays";
    EXPECT_TRUE(InUrlList({"example.org//"}, "example.org//x"));
    EXPECT_TRUE(InUrlList({"*ample.org/"}, "example.org/x"));
}

TEST(InternalWhiteList, EmptyEntriesMatchNothing) {
    for (const char* entry : {"", "/", "*", "*/"})
        for (const char* url : {"", "/", "*", "a", "/a", "a/"}) EXPECT_FALSE(InUrlList({entry}, url)) << entry << url;
    EXPECT_TRUE(InUrlList({"//"}, "//a")) << "one slash is left";
}

TEST(InternalWhiteList, SubstringIsFoundAnywhere) {
    for (const char* url : {"a/cdn/b", "a.cdn?x", "xCDN#y", "cdn"}) EXPECT_TRUE(InUrlList({"*cdn"}, url)) << url;
    EXPECT_FALSE(InUrlList({"*cdn"}, "cdn.example.org"));
    EXPECT_FALSE(InUrlList({"*cdn"}, "a/cdnx/"));
    EXPECT_TRUE(InUrlList({"**"}, "a*")) << "only the first star is special";
    EXPECT_FALSE(InUrlList({"a*c"}, "abc"));
    EXPECT_TRUE(InUrlList({"a*c"}, "a*c"));
}

TEST(InternalWhiteList, OnlyTheFirstOccurrenceCounts) {
    EXPECT_FALSE(InUrlList({"*ab"}, "abc/ab"));
    EXPECT_FALSE(InUrlList({"*ab"}, "xabx/ab/"));
    EXPECT_TRUE(InUrlList({"*ab"}, "ab/abc"));
    EXPECT_FALSE(InUrlList({"*aa"}, "aaa")) << "occurrences overlap";
    EXPECT_TRUE(InUrlList({"*ab", "*b/ab"}, "abcb/ab")) << "another pattern that ends there";
}

TEST(InternalWhiteList, EntriesOfFullLength) {
    const std::string full(1023, 'a');
    UrlListOwner owner;
    owner.Add(full);
    EXPECT_TRUE(InUrlList(owner, full));
    EXPECT_FALSE(InUrlList(owner, full.substr(1)));
    UrlListOwner star;
    star.Add("*" + full.substr(1));
    EXPECT_TRUE(InUrlList(star, full.substr(1)));
    EXPECT_FALSE(InUrlList(star, full)) << "the first occurrence does not end there";
    UrlListOwner unterminated;
    unterminated.AddWithoutNul('a');
    EXPECT_TRUE(InUrlList(unterminated, full)) << "the last byte counts as the NUL";
}

TEST(InternalWhiteList, TooLongATextIsInNoList) {
    InternalWhiteList list;
    UrlListOwner owner{"a"};
    list.Publish(owner.Record());
    EXPECT_TRUE(list.Matches("a/" + std::string(1021, 'b')));
    EXPECT_FALSE(list.Matches("a/" + std::string(1022, 'b')));
}

TEST(InternalWhiteList, HighBytesAreTheirOwn) {
    EXPECT_TRUE(InUrlList({"\xFF\xC0.org"}, "\xFF\xC0.org/"));
    EXPECT_FALSE(InUrlList({"\xC0.org"}, "\xE0.org/"));
    EXPECT_TRUE(InUrlList({"*\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF"}, "a\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF"));
}

TEST(InternalWhiteList, NullEntriesWithACountAreEmpty) {
    UrlListRecord record{};
    record.count = 1000;
    InternalWhiteList list;
    UserWhiteList whiteList;
    list.Publish(record);
    whiteList.Publish(record);
    EXPECT_FALSE(list.Matches("a"));
    EXPECT_FALSE(whiteList.Matches("a"));
}

TEST(InternalWhiteList, PublishReplacesAndClearEmpties) {
    InternalWhiteList list;
    UrlListOwner first{"a", "*b"};
    UrlListOwner second{"c"};
    list.Publish(first.Record());
    EXPECT_TRUE(list.Matches("a"));
    list.Publish(second.Record());
    EXPECT_FALSE(list.Matches("a"));
    EXPECT_FALSE(list.Matches("xb"));
    EXPECT_TRUE(list.Matches("c"));
    list.Clear();
    EXPECT_FALSE(list.Matches("c"));
}

TEST(UserWhiteList, EndsOnlyAtASlashOrTheEnd) {
    EXPECT_TRUE(InWhiteList({"Example.org/a/"}, "example.org/A"));
    EXPECT_TRUE(InWhiteList({"example.org/a"}, "example.org/a/b"));
    EXPECT_FALSE(InWhiteList({"example.org/a"}, "example.org/a?q"));
    EXPECT_FALSE(InWhiteList({"example.org/a"}, "example.org/ab"));
    EXPECT_FALSE(InWhiteList({"*ample.org"}, "example.org")) << "no substrings here";
    EXPECT_TRUE(InWhiteList({"*a"}, "*a/b"));
    EXPECT_FALSE(InWhiteList({"/"}, "/a"));
    EXPECT_FALSE(InWhiteList({""}, ""));
}

std::string RandomEntry(RandomTexts& random, const std::string& url) {
    if (random.OneIn(40)) return random.OneIn(2) ? "/" : "*";
    std::string entry = random.OneIn(2) ? "*" : "";
    entry += random.OneIn(2) ? random.PieceOf(url) : random.Text("aab.", random.Length(1022));
    if (random.OneIn(4)) entry += '/';
    return random.Recased(entry);
}

TEST(UrlLists, AgreeWithThePlainWalk) {
    std::size_t urlHits = 0;
    std::size_t whiteHits = 0;
    constexpr std::size_t kLists = 2000;
    for (std::uint32_t seed = 0; seed < kLists; ++seed) {
        RandomTexts random(seed);
        std::string urls[8];
        for (std::string& url : urls) url = random.Text("aaab./?#\xFF*", random.Length(1023));
        UrlListOwner owner;
        for (std::size_t count = random.Below(random.OneIn(10) ? 200 : 8); count != 0; --count)
            owner.Add(RandomEntry(random, urls[random.Below(8)]));
        const UrlListRecord record = owner.Record();
        InternalWhiteList list;
        UserWhiteList whiteList;
        list.Publish(record);
        whiteList.Publish(record);
        for (const std::string& plainUrl : urls) {
            const std::string url = random.OneIn(3) ? random.Recased(plainUrl) : plainUrl;
            const bool inList = plain::MatchUrlList(url, record);
            const bool inWhiteList = plain::MatchPrefixWhiteList(url, record);
            ASSERT_EQ(list.Matches(url), inList) << "seed " << seed << " url " << url;
            ASSERT_EQ(whiteList.Matches(url), inWhiteList) << "seed " << seed << " url " << url;
            urlHits += inList ? 1U : 0U;
            whiteHits += inWhiteList ? 1U : 0U;
        }
    }
    EXPECT_GT(urlHits, kLists) << "too few matches to prove anything";
    EXPECT_LT(urlHits, 7 * kLists) << "too few misses to prove anything";
    EXPECT_GT(whiteHits, kLists / 4);
}

}  // namespace
}  // namespace tarn::lists
