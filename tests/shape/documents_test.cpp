// The documents name files of this project: each of them has to be there.
#include <filesystem>
#include <fstream>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <iterator>
#include <regex>
#include <string>
#include <vector>

namespace tarn::shape {
namespace {

namespace fs = std::filesystem;
using testing::Gt;
using testing::IsEmpty;

const fs::path kRoot = TARN_SOURCE_FOLDER;

std::string TextOf(const fs::path& file) {
    std::ifstream stream(file, std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), {}};
}

// What stands between backticks and begins with a folder of the project, placeholders apart.
std::vector<std::string> PlacesNamedIn(const std::string& text) {
    static const std::regex kPlace(
        "`((?:src|include|tests|tools|docs|cmake|host|companions|bench|fuzz|examples)/[\\w./-]*)`");
    std::vector<std::string> places;
    for (std::sregex_iterator found(text.begin(), text.end(), kPlace), end; found != end; ++found)
        places.push_back((*found)[1]);
    return places;
}

TEST(Documents, PlacesAreRecognised) {
    EXPECT_THAT(PlacesNamedIn("in `src/api/library.h`, not `src/<layer>` or `./dev`; `docs/`"),
                testing::ElementsAre("src/api/library.h", "docs/"));
}

TEST(Documents, NameFilesThatExist) {
    std::vector<std::string> missing;
    std::size_t named = 0;
    for (const char* document :
         {"README.md", "CONTRIBUTING.md", "SECURITY.md", "docs/README.md", "docs/policy.md", "docs/architecture.md",
          "docs/behaviour.md", "docs/companions.md", "docs/integration.md", "docs/limits.md", "docs/performance.md",
          "docs/security.md", "examples/README.md"}) {
        const std::string text = TextOf(kRoot / document);
        ASSERT_FALSE(text.empty()) << document;
        for (const std::string& place : PlacesNamedIn(text)) {
            ++named;
            if (!fs::exists(kRoot / place)) missing.push_back(std::string(document) + ": " + place);
        }
    }
    EXPECT_THAT(missing, IsEmpty());
    EXPECT_THAT(named, Gt(40U));
}

}  // namespace
}  // namespace tarn::shape
