#include "base/url_path.h"

#include <gtest/gtest.h>
#include <string>

namespace tarn::base {
namespace {

struct Case {
    const char* path;
    const char* normalized;
};

TEST(UrlPath, CaseTable) {
    const Case cases[] = {
        {"", "/"},
        {"/", "/"},
        {"//", "/"},
        {"//a///b", "/a/b"},
        {"/a/b/", "/a/b/"},
        {"/a//", "/a/"},
        {"a", "/a"},
        {"a//b", "/a/b"},
        {"?q", "/"},
        {"#f", "/"},
        {"/x?q#f", "/x"},
        {"/x#f?q", "/x"},
        {"//x//y?q#f", "/x/y"},
        {"/A/b", "/A/b"},
        {"/a?//b", "/a"},
        {":8080/x", "/:8080/x"},
        // Taken as they stand.
        {"/a/./b/../c", "/a/./b/../c"},
        {"/%41%2F%2e", "/%41%2F%2e"},
    };
    for (const Case& c : cases) {
        UrlText out;
        EXPECT_TRUE(NormalizeUrlPath(c.path, out)) << c.path;
        EXPECT_EQ(out.View(), c.normalized) << c.path;
        UrlText inPlace;
        inPlace.Assign(c.path);
        EXPECT_TRUE(NormalizeUrlPath(inPlace)) << c.path;
        EXPECT_EQ(inPlace.View(), c.normalized) << c.path;
        EXPECT_EQ(std::string(inPlace.Text()), c.normalized) << "terminated";
    }
}

TEST(UrlPath, CharactersPastTheLimitAreDropped) {
    const std::string kept = "/" + std::string(1022, 'a');
    UrlText out;
    EXPECT_TRUE(NormalizeUrlPath(kept, out));
    EXPECT_EQ(out.View(), kept);
    EXPECT_TRUE(NormalizeUrlPath(kept + "b", out));
    EXPECT_EQ(out.View(), kept);
    EXPECT_TRUE(NormalizeUrlPath("//" + kept + "b", out)) << "the limit counts what is kept";
    EXPECT_EQ(out.View(), kept);
}

TEST(UrlPath, SlashPutInFrontMustFit) {
    UrlText out;
    EXPECT_TRUE(NormalizeUrlPath(std::string(1022, 'a'), out));
    EXPECT_EQ(out.View(), "/" + std::string(1022, 'a'));
    EXPECT_FALSE(NormalizeUrlPath(std::string(1023, 'a'), out));
    EXPECT_FALSE(NormalizeUrlPath(std::string(2000, 'a'), out));
}

#ifndef NDEBUG
TEST(UrlPathDeathTest, APathFromTheBufferIsCaught) {
    UrlText text;
    text.Assign("x//y");
    EXPECT_DEATH(NormalizeUrlPath(text.View(), text), "path");
}
#endif

}  // namespace
}  // namespace tarn::base
