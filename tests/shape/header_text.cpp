#include "shape/header_text.h"

#include <regex>

namespace tarn::shape {
namespace {

using Match = std::smatch;

std::vector<Match> AllMatches(const std::string& text, const std::regex& pattern) {
    return {std::sregex_iterator(text.begin(), text.end(), pattern), {}};
}

std::string Replace(const std::string& text, const std::string& pattern, const std::string& by) {
    return std::regex_replace(text, std::regex(pattern), by);
}

// Every run of blanks and line ends as one blank, none at the ends.
std::string OneLine(const std::string& text) {
    return Replace(Replace(text, "\\s+", " "), "^ | $", "");
}

// name is left without its type, type without its name. "uint8_t sid[64]", "char* host", "char (*entries)[1024]".
RecordField FieldOf(const std::string& declaration) {
    static const std::regex kPointerToArray(R"((\w+) \(\*(\w+)\)(\[\w+\]))");
    static const std::regex kPlain(R"((\w+)(\*?) (\w+)((?:\[\w+\])?))");
    RecordField field;
    Match match;
    if (std::regex_match(declaration, match, kPointerToArray)) {
        field.name = match[2];
        field.type = match.str(1) + " (*)" + match.str(3);
    } else if (std::regex_match(declaration, match, kPlain)) {
        field.name = match[3];
        field.type = match.str(1) + match.str(2) + match.str(4);
    }
    return field;
}

std::vector<RecordField> FieldsOf(std::string body) {
    static const std::regex kDeclaration(R"([^;]+)");
    body = Replace(body, R"(union \{[^}]*\} (\w+);)", "union $1;");
    body = Replace(body, "TARN_URL_CAPACITY", "1024");
    body = Replace(body, R"(\bstruct )", "");
    std::vector<RecordField> fields;
    for (const Match& declaration : AllMatches(body, kDeclaration))
        if (const std::string text = OneLine(declaration.str()); !text.empty()) fields.push_back(FieldOf(text));
    return fields;
}

}  // namespace

std::string WithoutComments(const std::string& header) {
    std::string text;
    for (std::size_t at = 0; at < header.size();) {
        const std::size_t start = std::min(header.find("/*", at), header.size());
        text += header.substr(at, start - at);
        const std::size_t end = header.find("*/", start);
        at = end == std::string::npos ? header.size() : end + 2;
    }
    return text;
}

std::vector<Record> RecordsOf(const std::string& header) {
    static const std::regex kRecord(R"(typedef struct TARN_PACKED (\w+) \{([\s\S]*?)\n\} \w+;)");
    static const std::regex kSize(R"(TARN_ASSERT_SIZE\((\w+), (\d+)\))");
    static const std::regex kOffset(R"(TARN_ASSERT_OFFSET\((\w+), (\w+), (\d+)\))");
    const std::string text = WithoutComments(header);
    std::map<std::string, std::size_t> sizes;
    for (const Match& match : AllMatches(text, kSize)) sizes[match[1]] = std::stoul(match[2]);
    std::map<std::string, std::size_t> offsets;
    for (const Match& match : AllMatches(text, kOffset))
        offsets[match.str(1) + "." + match.str(2)] = std::stoul(match[3]);

    std::vector<Record> records;
    for (const Match& match : AllMatches(text, kRecord)) {
        Record record{match[1], sizes[match[1]], FieldsOf(match[2])};
        for (RecordField& field : record.fields) {
            const auto asserted = offsets.find(record.name + "." + field.name);
            field.isAsserted = asserted != offsets.end();
            if (field.isAsserted) field.offset = asserted->second;
        }
        records.push_back(record);
    }
    return records;
}

std::vector<std::string> NumbersOf(const std::string& header) {
    static const std::regex kEnum(R"(enum \{([^}]*)\})");
    static const std::regex kName(R"(\bTARN_\w+(?= =))");
    std::vector<std::string> names;
    const std::string text = WithoutComments(header);
    for (const Match& list : AllMatches(text, kEnum)) {
        const std::string body = list[1];
        for (const Match& name : AllMatches(body, kName)) names.push_back(name.str());
    }
    return names;
}

std::map<std::string, std::string> SignaturesOf(const std::string& header) {
    static const std::regex kFunction(R"(typedef (\w+)\(TARN_CALL\* (\w+)\)\(([^)]*)\);)");
    std::map<std::string, std::string> signatures;
    const std::string text = WithoutComments(header);
    for (const Match& match : AllMatches(text, kFunction))
        signatures[match[2]] = match.str(1) + " (" + OneLine(match[3]) + ")";
    return signatures;
}

}  // namespace tarn::shape
