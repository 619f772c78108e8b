// The files beside the targets: kept inputs belong to a target and stay few, dictionaries are named and well formed.
#include <algorithm>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <regex>
#include <set>
#include <string>

#include "seeds.h"
#include "support/project_files.h"

namespace tarn::fuzz {
namespace {

namespace fs = std::filesystem;

std::set<std::string> NamesIn(const fs::path& folder) {
    std::set<std::string> names;
    for (const auto& entry : fs::directory_iterator(folder)) names.insert(entry.path().filename().string());
    return names;
}

TEST(KeptInputs, BelongToATarget) {
    for (const std::string& name : NamesIn(ProjectFile("fuzz/corpus"))) EXPECT_NE(FindTarget(name), nullptr) << name;
}

// What libFuzzer learns stays in the build folder; here stand former findings and shapes that no capture has.
TEST(KeptInputs, StayFewAndSmall) {
    constexpr std::uintmax_t kMostOfAll = 262144;
    std::uintmax_t all = 0;
    std::size_t count = 0;
    for (const auto& entry : fs::recursive_directory_iterator(ProjectFile("fuzz/corpus"))) {
        if (!entry.is_regular_file()) continue;
        ++count;
        all += entry.file_size();
        const Target* const target = FindTarget(entry.path().parent_path().filename().string());
        ASSERT_NE(target, nullptr) << entry.path();
        EXPECT_LE(entry.file_size(), target->mostBytes) << entry.path() << ": the target cuts it";
    }
    EXPECT_GT(count, 0U);
    EXPECT_LE(all, kMostOfAll) << "fuzz/README.md says how kept inputs are merged";
}

TEST(Dictionaries, AreNamedByTheirTargets) {
    std::set<std::string> named;
    for (const Target& target : AllTargets())
        if (!target.dictionary.empty()) named.emplace(target.dictionary);
    EXPECT_FALSE(named.empty());
    EXPECT_EQ(NamesIn(ProjectFile("fuzz/dictionaries")), named);
}

// libFuzzer refuses a whole dictionary for one line.
TEST(Dictionaries, HoldQuotedWords) {
    const std::regex word(R"re(^"([ !#-\[]|[\]-~]|\\\\|\\"|\\x[0-9a-f]{2})+"$)re");
    for (const std::string& name : NamesIn(ProjectFile("fuzz/dictionaries"))) {
        std::ifstream file(fs::path(ProjectFile("fuzz/dictionaries")) / name);
        std::set<std::string> words;
        for (std::string line; std::getline(file, line);) {
            if (line.starts_with('#')) continue;
            EXPECT_TRUE(std::regex_match(line, word)) << name << ": " << line;
            EXPECT_TRUE(words.insert(line).second) << name << " has it twice: " << line;
        }
        EXPECT_GT(words.size(), 10U) << name;
    }
}

TEST(Targets, HaveNamesAndInputsOfTheirOwn) {
    std::set<std::string_view> names;
    for (const Target& target : AllTargets()) {
        EXPECT_TRUE(names.insert(target.name).second) << target.name;
        EXPECT_FALSE(SeedsOf(target.name).empty()) << target.name;
    }
}

}  // namespace
}  // namespace tarn::fuzz
