// The documents of the SDK say what the headers say: every field of every record, every number, every export.
#include <fstream>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <iterator>
#include <regex>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "tarn/companion_modules.h"
#include "tarn/version.h"

#include "shape/header_text.h"

namespace tarn::shape {
namespace {

using testing::ElementsAreArray;
using testing::IsEmpty;

std::string TextOf(const std::string& file) {
    std::ifstream stream(std::string(TARN_SOURCE_FOLDER "/") + file, std::ios::binary);
    std::string text{std::istreambuf_iterator<char>(stream), {}};
    EXPECT_FALSE(text.empty()) << file;
    return text;
}

// The lines behind a heading, up to the next heading of any level.
std::vector<std::string> Section(const std::string& document, const std::string& heading) {
    std::vector<std::string> lines;
    std::istringstream stream(document);
    bool isInside = false;
    for (std::string line; std::getline(stream, line);) {
        if (line.starts_with("#")) isInside = line == heading;
        if (isInside) lines.push_back(line);
    }
    return lines;
}

// The cells of the section's table, without its two heading lines.
std::vector<std::vector<std::string>> Rows(const std::vector<std::string>& section) {
    std::vector<std::vector<std::string>> rows;
    std::size_t tableLines = 0;
    for (const std::string& line : section) {
        if (!line.starts_with("| ") && !line.starts_with("|-")) continue;
        if (++tableLines <= 2) continue;
        std::vector<std::string> cells;
        for (std::size_t at = 1; at < line.size();) {
            const std::size_t end = std::min(line.find('|', at), line.size());
            const std::string cell = line.substr(at, end - at);
            const std::size_t first = cell.find_first_not_of(' ');
            cells.push_back(first == std::string::npos ? ""
                                                       : cell.substr(first, cell.find_last_not_of(' ') - first + 1));
            at = end + 1;
        }
        rows.push_back(cells);
    }
    return rows;
}

std::vector<Record> Records(const char* header) {
    return RecordsOf(TextOf(std::string("include/tarn/") + header));
}

void ExpectTables(const char* header, const char* document) {
    const std::string text = TextOf(document);
    const std::vector<Record> records = Records(header);
    EXPECT_GE(records.size(), 11U) << header;
    for (const Record& record : records) {
        const std::string heading = "### `" + record.name + "`, " + std::to_string(record.size) + " bytes";
        std::vector<std::vector<std::string>> shown = Rows(Section(text, heading));
        std::vector<std::vector<std::string>> expected;
        for (std::size_t i = 0; i < record.fields.size(); ++i) {
            const RecordField& field = record.fields[i];
            expected.push_back({std::to_string(field.offset), std::to_string(record.SizeOf(i)), "`" + field.type + "`",
                                "`" + field.name + "`"});
        }
        for (std::vector<std::string>& row : shown) {
            ASSERT_EQ(row.size(), 5U) << heading;
            EXPECT_NE(row[4], "") << heading << ": " << row[3] << " has no meaning";
            row.pop_back();
        }
        EXPECT_THAT(shown, ElementsAreArray(expected)) << document << ": " << heading;
    }
}

TEST(HeaderText, ReadsRecordsNumbersAndSignatures) {
    const std::string header =
        "/* a; b */ enum { TARN_A = 1, TARN_B = 2 /* c */ };\n"
        "typedef struct TARN_PACKED R {\n    uint8_t a[TARN_URL_CAPACITY]; /* x; */\n    union {\n        char u[2];\n"
        "        T t;\n    } text;\n    char (*entries)[8];\n    struct R* next;\n} R;\nTARN_ASSERT_SIZE(R, 1042);\n"
        "TARN_ASSERT_OFFSET(R, a, 0);\nTARN_ASSERT_OFFSET(R, text, 1024);\nTARN_ASSERT_OFFSET(R, entries, 1026);\n"
        "typedef void(TARN_CALL* Fn)(int a,\n                            R* b);\n";
    EXPECT_THAT(NumbersOf(header), testing::ElementsAre("TARN_A", "TARN_B"));
    EXPECT_THAT(SignaturesOf(header), testing::ElementsAre(testing::Pair("Fn", "void (int a, R* b)")));
    const std::vector<Record> records = RecordsOf(header);
    ASSERT_EQ(records.size(), 1U);
    const Record& record = records.front();
    EXPECT_EQ(record.size, 1042U);
    ASSERT_EQ(record.fields.size(), 4U);
    EXPECT_EQ(record.fields[0].type, "uint8_t[1024]");
    EXPECT_EQ(record.fields[1].type, "union");
    EXPECT_EQ(record.SizeOf(1), 2U);
    EXPECT_EQ(record.fields[2].type, "char (*)[8]");
    EXPECT_EQ(record.fields[3].type, "R*");
    EXPECT_FALSE(record.fields[3].isAsserted);
}

TEST(PublicHeaders, AssertEveryOffsetAndSize) {
    for (const char* header : {"records.h", "companion_records.h"})
        for (const Record& record : Records(header)) {
            EXPECT_NE(record.size, 0U) << record.name;
            EXPECT_FALSE(record.fields.empty()) << record.name;
            for (const RecordField& field : record.fields)
                EXPECT_TRUE(field.isAsserted) << record.name << "." << field.name;
        }
}

TEST(Integration, ShowsEveryFieldOfTheHostsRecords) {
    ExpectTables("records.h", "docs/integration.md");
}

TEST(Companions, ShowsEveryFieldOfTheModulesRecords) {
    ExpectTables("companion_records.h", "docs/companions.md");
}

TEST(Companions, ShowsEveryExportWithItsSignatureInTheSectionOfItsFile) {
    struct Export {
        std::string file, name, type;
    };
    std::vector<Export> exports;
    std::string file;
#define TARN_EXPORT(function, type) exports.push_back({file, #function, #type});
#define TARN_FILE(module, name, functions) \
    file = name;                           \
    functions(TARN_EXPORT)
    TARN_COMPANION_FILES(TARN_FILE)
#undef TARN_FILE
#undef TARN_EXPORT
    ASSERT_EQ(exports.size(), 49U);

    const std::string document = TextOf("docs/companions.md");
    const auto signatures = SignaturesOf(TextOf("include/tarn/companions.h"));
    std::map<std::string, std::vector<std::vector<std::string>>> rowsOfFiles;
    std::istringstream stream(document);
    for (std::string line; std::getline(stream, line);)
        if (line.starts_with("## `"))
            rowsOfFiles[line.substr(4, line.find('`', 4) - 4)] = Rows(Section(document, line));
    ASSERT_EQ(rowsOfFiles.size(), 9U);
    std::size_t rows = 0;
    for (const auto& [name, shown] : rowsOfFiles) rows += shown.size();
    EXPECT_EQ(rows, exports.size()) << "a row too many";
    for (const Export& expected : exports) {
        const auto signature = signatures.find(expected.type);
        ASSERT_NE(signature, signatures.end()) << expected.type;
        bool found = false;
        for (const std::vector<std::string>& row : rowsOfFiles[expected.file]) {
            if (row.front() != "`" + expected.name + "`") continue;
            found = true;
            ASSERT_EQ(row.size(), 4U) << expected.name;
            EXPECT_EQ(row[1], "`" + signature->second + "`") << expected.name;
            EXPECT_NE(row[2], "") << expected.name << ": when is it called?";
        }
        EXPECT_TRUE(found) << expected.file << ": " << expected.name;
    }
}

TEST(Documents, NameEveryNumberOfTheHeaders) {
    static const std::regex kName("TARN_[A-Z0-9_]+");
    const std::string documents = TextOf("docs/integration.md") + TextOf("docs/companions.md");
    std::set<std::string> named;
    for (std::sregex_iterator found(documents.begin(), documents.end(), kName), end; found != end; ++found)
        named.insert(found->str());
    std::vector<std::string> missing;
    std::size_t count = 0;
    for (const char* header : {"values.h", "records.h", "companion_records.h", "companions.h"})
        for (const std::string& name : NumbersOf(TextOf(std::string("include/tarn/") + header))) {
            ++count;
            if (!named.contains(name)) missing.push_back(name);
        }
    EXPECT_THAT(missing, IsEmpty());
    EXPECT_GE(count, 80U);
}

TEST(Version, IsThatOfTheBuild) {
    EXPECT_STREQ(TARN_VERSION_STRING, TARN_PROJECT_VERSION);
    EXPECT_EQ(std::to_string(TARN_VERSION_MAJOR) + "." + std::to_string(TARN_VERSION_MINOR) + "." +
                  std::to_string(TARN_VERSION_PATCH),
              TARN_VERSION_STRING);
}

}  // namespace
}  // namespace tarn::shape
