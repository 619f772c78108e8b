// Blocked addresses through the built library: what of a request text is kept, and what of a request is compared.
#include <gtest/gtest.h>

#include "system/site_records_win32.h"

namespace tarn::system_test {
namespace {

class BlockedAddressRules : public SiteRecords {
 protected:
    BlockedAddressRules() {
        answers.idsIpsStatus.enabled = 1;
        EXPECT_TRUE(Init());
    }
    bool IsBlocked(const std::string& host, const std::string& target) {
        return VerdictOf(host, target) == Blocks(TARN_REASON_IDS_BLOCKED);
    }
};

TEST_F(BlockedAddressRules, ThePathBeginsBehindTheFirstOccurrenceOfTheHost) {
    BlockAddress("bad.example", "bad.example/one/bad.example/two HTTP/1.1");
    EXPECT_TRUE(IsBlocked("bad.example", "/one/bad.example/two"));
    EXPECT_FALSE(IsBlocked("bad.example", "/two"));
    BlockAddress("bad.example", "/outer/bad.example/inner");
    EXPECT_TRUE(IsBlocked("bad.example", "/inner")) << "it may stand anywhere in the text";
    EXPECT_FALSE(IsBlocked("bad.example", "/outer/bad.example/inner"));
}

TEST_F(BlockedAddressRules, ThePathEndsBeforeTheFirstTailOfARequestLine) {
    BlockAddress("bad.example", "/a HTTP/1.1 b HTTP/1.0");
    EXPECT_TRUE(IsBlocked("bad.example", "/a"));
    EXPECT_FALSE(IsBlocked("bad.example", "/a http/1.1 b"));
    BlockAddress("bad.example", "/b HTTP/2");
    EXPECT_FALSE(IsBlocked("bad.example", "/b"));
    EXPECT_TRUE(IsBlocked("bad.example", "/b HTTP/2")) << "another tail belongs to the path";
}

TEST_F(BlockedAddressRules, LettersAreComparedWithoutTheirCase) {
    BlockAddress("WWW.BAD.Example", "WWW.Bad.EXAMPLE/DIR/File.EXE hTtP/1.0");
    EXPECT_TRUE(IsBlocked("bad.example", "/dir/file.exe"));
    EXPECT_TRUE(IsBlocked("Bad.example", "/Dir/FILE.exe"));
    EXPECT_TRUE(IsBlocked("WWW.bad.example", "/dir/file.exe"));
}

TEST_F(BlockedAddressRules, ARequestLosesNeitherATailNorItsHost) {
    BlockAddress("bad.example", "/a");
    EXPECT_TRUE(IsBlocked("bad.example", "/a"));
    EXPECT_FALSE(IsBlocked("bad.example", "/a http/1.0")) << "a tail in small letters is part of the target";
    EXPECT_FALSE(IsBlocked("bad.example", "/bad.example/a"));
    EXPECT_FALSE(IsBlocked("bad.example", "/x/bad.example/a"));
}

TEST_F(BlockedAddressRules, OneSlashASideIsRemoved) {
    BlockAddress("bad.example", "/x//");
    for (const char* target : {"/x", "/x/", "/x//"}) EXPECT_FALSE(IsBlocked("bad.example", target)) << target;
    BlockAddress("bad.example", "/y/");
    for (const char* target : {"/y", "/y/", "/y//", "//y"}) EXPECT_TRUE(IsBlocked("bad.example", target)) << target;
    BlockAddress("//slash.example/", "/z");
    EXPECT_FALSE(IsBlocked("slash.example", "/z"));
    EXPECT_TRUE(IsBlocked("//slash.example", "/z")) << "as its own key is";
    BlockAddress("/other.example/", "/z");
    EXPECT_TRUE(IsBlocked("other.example", "/z"));
    EXPECT_FALSE(IsBlocked("/other.example//", "/z"));
}

TEST_F(BlockedAddressRules, ASlashBeforeTheTailIsKeptAndMatchesNoRequest) {
    BlockAddress("bad.example", "/dir/ HTTP/1.1");
    for (const char* target : {"/dir", "/dir/", "/dir//"}) EXPECT_FALSE(IsBlocked("bad.example", target)) << target;
    BlockAddress("bad.example", "/dir HTTP/1.1");
    for (const char* target : {"/dir", "/dir/", "/dir//"}) EXPECT_TRUE(IsBlocked("bad.example", target)) << target;
}

}  // namespace
}  // namespace tarn::system_test
