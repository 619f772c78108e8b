#include "shape/header_fingerprint.h"

#include <fstream>
#include <gtest/gtest.h>
#include <iterator>

namespace tarn::shape {
namespace {

TEST(NormalisedSource, CommentsAndLineBreaksDoNotCount) {
    EXPECT_EQ(NormalisedSource("/* a\n b */\r\nint  x; // why\n\n\tint y;/**/int z;\n"), "int x; int y; int z;");
    EXPECT_EQ(NormalisedSource("int x; /* never closed"), "int x;");
    EXPECT_EQ(NormalisedSource(""), "");
}

TEST(NormalisedSource, EveryDeclarationCounts) {
    EXPECT_NE(NormalisedSource("uint8_t a; uint8_t b;"), NormalisedSource("uint8_t b; uint8_t a;"));
    EXPECT_NE(NormalisedSource("char url[1024];"), NormalisedSource("char url[1025];"));
}

TEST(PublicHeaders, AreThoseThatWereReviewed) {
    const std::filesystem::path root = TARN_SOURCE_FOLDER;
    std::ifstream stream(root / "tests/shape/header_fingerprint.txt", std::ios::binary);
    const std::string committed{std::istreambuf_iterator<char>(stream), {}};
    EXPECT_EQ(FingerprintOf(root / "include/tarn"), committed)
        << "A header that hosts and companion modules compile against has changed. Hosts that exist already keep the\n"
           "old layout: make sure that no record, value or signature they use means anything else now. Then run\n"
           "    ./dev fingerprint\n"
           "and commit tests/shape/header_fingerprint.txt together with the header.";
}

}  // namespace
}  // namespace tarn::shape
