// docs/policy.md says what the loader and the library say: every key with its form and default, the order of the rules,
// the files. Its examples are loaded. What its tables of addresses promise is run by the tests of the documents.
#include <filesystem>
#include <fstream>
#include <gmock/gmock.h>
#include <iterator>
#include <regex>
#include <sstream>

#include "companions/given_lists.h"
#include "companions/loader_keys.h"
#include "policy/policy_lint.h"
#include "policy/policy_reader.h"
#include "url/rules.h"
#include "url/url_scan.h"
#include "url/web_extension_scan.h"

namespace tarn::policy {
namespace {

namespace fs = std::filesystem;
using testing::ContainerEq;
using testing::Contains;
using testing::ElementsAreArray;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;

const fs::path kRoot = TARN_SOURCE_FOLDER;

std::string TextOf(const fs::path& file) {
    std::ifstream stream(file, std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), {}};
}

// All that the expression finds in text.
std::vector<std::string> FindAll(const std::string& text, const std::string& expression) {
    const std::regex wanted(expression);
    std::vector<std::string> found;
    for (std::sregex_iterator at(text.begin(), text.end(), wanted), end; at != end; ++at) found.push_back((*at)[1]);
    return found;
}

struct Row {
    std::string heading;  // the nearest one above
    std::string columns;  // the table's first line
    std::vector<std::string> cells;
};

struct Block {
    std::string language;  // all that stands behind the fence
    std::string text;
};

struct Document {
    std::vector<std::string> headings;
    std::vector<Row> rows;
    std::vector<Block> blocks;
};

Document ReadDocument() {
    Document document;
    std::istringstream stream(TextOf(kRoot / "docs/policy.md"));
    std::string columns;
    bool isInBlock = false;
    for (std::string line; std::getline(stream, line);) {
        if (line.starts_with("```")) {
            isInBlock = !isInBlock;
            if (isInBlock) document.blocks.push_back({line.substr(3), ""});
        } else if (isInBlock) {
            document.blocks.back().text += line + "\n";
        } else if (line.starts_with("#")) {
            document.headings.push_back(line.substr(line.find(' ') + 1));
        } else if (!line.starts_with("|")) {
            columns.clear();
        } else if (columns.empty()) {
            columns = line;
        } else if (!line.starts_with("|-")) {
            document.rows.push_back({document.headings.back(), columns, FindAll(line, "\\| ?(.*?) ?(?=\\|)")});
        }
    }
    return document;
}

class PolicyDocument : public testing::Test {
 protected:
    // The rows that describe keys, by the whole names of the keys.
    std::map<std::string, Row> KeyRows() const {
        std::map<std::string, Row> rows;
        for (const Row& row : document.rows) {
            if (row.columns != "| key | value | default | what it does |") continue;
            std::vector<std::string> tables = FindAll(row.heading, "`\\[+([a-z_.]+)\\]+`");
            if (tables.empty()) tables.emplace_back();
            for (const std::string& table : tables)
                for (const std::string& key : FindAll(row.cells.at(0), "`([A-Za-z_]+)`"))
                    EXPECT_TRUE(rows.emplace(table.empty() ? key : table + "." + key, row).second) << table << key;
        }
        return rows;
    }

    const Document document = ReadDocument();
};

TEST_F(PolicyDocument, HasEveryKeyOfTheLoaderAndNoOther) {
    const LoaderKeys loader = AskLoader();
    EXPECT_GT(loader.keys.size(), 90U);
    const std::map<std::string, Row> rows = KeyRows();
    for (const auto& [key, form] : loader.keys) {
        const auto row = rows.find(key);
        if (row == rows.end()) {
            EXPECT_TRUE(IsTable(form)) << key << " has no line";
            continue;
        }
        ASSERT_THAT(row->second.cells, SizeIs(4)) << key;
        EXPECT_EQ(row->second.cells[1], form.value) << key;
        EXPECT_EQ(row->second.cells[2] == "needed", form.isNeeded) << key;
        EXPECT_GT(row->second.cells[3].size(), 5U) << key;
    }
    for (const auto& [key, row] : rows) EXPECT_TRUE(loader.keys.contains(key)) << "the loader knows no " << key;
}

TEST_F(PolicyDocument, HasAHeadingForEveryTable) {
    std::set<std::string> shown;
    for (const std::string& heading : document.headings)
        for (std::string& table : FindAll(heading, "`(\\[+[a-z_.]+\\]+)`")) shown.insert(std::move(table));
    std::set<std::string> known = AskLoader().tables;
    known.erase("[notices]");  // its two tables have headings of their own
    EXPECT_THAT(shown, ContainerEq(known));
}

TEST_F(PolicyDocument, SaysTheDefaultsThatTheLoaderUses) {
    std::map<std::string, std::string> shown;
    const LoaderKeys loader = AskLoader();
    for (const auto& [key, row] : KeyRows())
        if (row.cells.at(2) != "needed" && loader.keys.contains(key) && !IsTable(loader.keys.at(key)))
            shown[key] = row.cells[2];
    EXPECT_THAT(shown, ContainerEq(LoaderDefaults()));
}

// The whole names of the keys that a table sets.
void CollectKeys(const toml::table& table, const std::string& prefix, std::set<std::string>& keys) {
    for (const auto& [name, value] : table) {
        const std::string key = prefix + std::string(name.str());
        if (const toml::table* inner = value.as_table()) {
            CollectKeys(*inner, key + ".", keys);
        } else if (const toml::array* array = value.as_array();
                   array != nullptr && !array->empty() && array->back().is_table()) {
            for (const toml::node& item : *array)
                if (item.is_table()) CollectKeys(*item.as_table(), key + ".", keys);
        } else {
            keys.insert(prefix == "category_names." ? prefix + "NUMBER" : key);
        }
    }
}

TEST_F(PolicyDocument, ItsExamplesAreTakenAndShowEveryKey) {
    std::set<std::string> shown;
    for (const Block& block : document.blocks) {
        if (block.language != "toml") continue;
        GivenLists lists({{"lists/ads.txt", "ads.example\n"},
                          {"lists/own.txt", "own.example\n"},
                          {"lists/phish.txt", "phish.example\n"},
                          {"lists/games.txt", "games.example\n"}});
        const ReadPolicy read = ParsePolicy(block.text, {}, &lists);
        for (const Mistake& mistake : read.mistakes) ADD_FAILURE() << mistake.text << " in\n" << block.text;
        EXPECT_THAT(read.warnings, IsEmpty()) << block.text;
        CollectKeys(toml::parse(block.text), "", shown);
    }
    for (const auto& [key, form] : AskLoader().keys) {
        if (IsTable(form)) continue;
        EXPECT_THAT(shown, Contains(key));
    }
}

// Each line of a block that ends in "# words" has a mistake or finding of its own with those words.
template <class Item, class LineOf>
std::size_t ExpectAnnounced(const Block& block, const std::vector<Item>& items, LineOf lineOf) {
    std::istringstream stream(block.text);
    std::size_t announced = 0;
    std::uint32_t number = 0;
    for (std::string line; std::getline(stream, line);) {
        ++number;
        if (line.find("# ") == std::string::npos) continue;
        EXPECT_LT(announced, items.size()) << line;
        if (announced == items.size()) return 0;
        EXPECT_EQ(lineOf(items[announced]), number);
        EXPECT_THAT(items[announced].text, HasSubstr(line.substr(line.find("# ") + 2)));
        ++announced;
    }
    EXPECT_EQ(announced, items.size());
    return announced;
}

TEST_F(PolicyDocument, WhatItCallsRefusedIsRefusedForThatReason) {
    std::size_t refused = 0;
    for (const Block& block : document.blocks)
        if (block.language == "toml refused")
            refused += ExpectAnnounced(block, ParsePolicy(block.text).mistakes,
                                       [](const Mistake& mistake) { return mistake.line; });
    EXPECT_GE(refused, 7U);
}

TEST_F(PolicyDocument, WhatItWarnsOfIsWarnedOfForThatReason) {
    std::size_t warned = 0;
    for (const Block& block : document.blocks) {
        if (block.language != "toml warned") continue;
        const ReadPolicy read = ParsePolicy(block.text);
        EXPECT_THAT(read.mistakes, IsEmpty()) << block.text;
        warned += ExpectAnnounced(block, LintPolicy(read), [](const Finding& finding) { return finding.place.line; });
    }
    EXPECT_GE(warned, 4U);
}

TEST_F(PolicyDocument, HasTheRulesInTheirOrder) {
    std::vector<std::string> shown;
    for (const Row& row : document.rows)
        if (row.heading == "Which rule wins") shown.push_back(row.cells.at(0));
    std::vector<std::string> asked;
    for (const url::Rule& rule : url::UrlRules()) asked.emplace_back(rule.name);
    for (const url::Rule& rule : url::WebExtensionRules())
        if (rule.name != "split" && rule.name != "parental control") asked.emplace_back(rule.name);  // decide nothing
    EXPECT_THAT(shown, ElementsAreArray(asked));
}

TEST_F(PolicyDocument, NamesTheFilesThatTheModulesKeep) {
    std::set<std::string> kept{std::string(kPolicyFile)};
    for (const fs::directory_entry& source : fs::directory_iterator(kRoot / "companions")) {
        if (source.path().extension() != ".cpp") continue;
        for (std::string& name : FindAll(TextOf(source.path()), "u\"(tarn-[\\w-]+\\.(?:bin|log))\""))
            kept.insert(std::move(name));
    }
    std::set<std::string> shown;
    for (const Row& row : document.rows)
        if (row.heading == "The files") shown.insert(FindAll(row.cells.at(0), "`(.+)`").at(0));
    EXPECT_THAT(shown, ContainerEq(kept));
    EXPECT_THAT(kept, SizeIs(6));
}

}  // namespace
}  // namespace tarn::policy
