// docs/policy.schema.json says to editors what the loader takes: every key and no other, with the loader's own bounds
// and defaults.
#include <fstream>
#include <gmock/gmock.h>
#include <nlohmann/json.hpp>
#include <regex>

#include "companions/loader_keys.h"
#include "policy/list_files.h"
#include "policy/policy_reader.h"

namespace tarn::policy {
namespace {

using nlohmann::json;
using testing::ContainerEq;
using testing::IsEmpty;
using testing::SizeIs;

// A key as the schema describes it.
struct SchemaKey {
    json schema;
    bool isNeeded = false;
};

json ReadSchema() {
    return json::parse(std::ifstream(TARN_SOURCE_FOLDER "/docs/policy.schema.json"));
}

// The tables of an array; null for one of other values.
const json* TablesOf(const json& array) {
    const json& items = array.at("items");
    if (items.contains("anyOf")) return &items.at("anyOf").back();
    return items.at("type") == "object" ? &items : nullptr;
}

void Collect(const json& object, const std::string& prefix, std::map<std::string, SchemaKey>& keys) {
    EXPECT_EQ(object.at("type"), "object") << prefix;
    EXPECT_EQ(object.at("additionalProperties"), false) << prefix << ": an unknown key is a mistake";
    if (object.contains("patternProperties")) {
        ASSERT_THAT(object.at("patternProperties"), SizeIs(1)) << prefix;
        keys[prefix + "NUMBER"] = {*object.at("patternProperties").begin(), false};
        return;
    }
    const json needed = object.value("required", json::array());
    for (const auto& [name, schema] : object.at("properties").items()) {
        keys[prefix + name] = {schema, std::find(needed.begin(), needed.end(), name) != needed.end()};
        EXPECT_GT(schema.value("description", "").size(), 5U) << prefix << name;
        if (schema.at("type") == "object") Collect(schema, prefix + name + ".", keys);
        if (schema.at("type") == "array")
            if (const json* tables = TablesOf(schema)) Collect(*tables, prefix + name + ".", keys);
    }
}

std::map<std::string, SchemaKey> SchemaKeys() {
    std::map<std::string, SchemaKey> keys;
    Collect(ReadSchema(), "", keys);
    return keys;
}

// In the words of the loader.
std::string ItemForm(const json& schema, const std::string& texts) {
    if (schema.at("type") == "integer") return schema.at("minimum").dump() + " to " + schema.at("maximum").dump();
    return texts + " of " + schema.at("minLength").dump() + " to " + schema.at("maxLength").dump() + " bytes";
}

std::string FormOf(const json& schema) {
    const std::string type = schema.at("type");
    if (type == "boolean") return "true, false";
    if (type == "object") return "table";
    if (type != "array") return ItemForm(schema, "text");
    const json& items = schema.at("items");
    if (items.contains("anyOf")) return "file names and tables";
    if (items.at("type") == "object") return "tables";
    if (items.at("type") == "integer") return "numbers, " + ItemForm(items, "");
    if (items.contains("pattern") && !items.contains("maxLength")) return "times";
    return items.at("maxLength") == 63 ? "addresses" : ItemForm(items, "texts");
}

TEST(PolicySchema, HasEveryKeyOfTheLoaderInItsFormAndNoOther) {
    std::map<std::string, std::string> shown;
    std::map<std::string, std::string> known;
    for (const auto& [key, found] : SchemaKeys())
        shown[key] = FormOf(found.schema) + (found.isNeeded ? ", needed" : "");
    for (const auto& [key, form] : AskLoader().keys) known[key] = form.value + (form.isNeeded ? ", needed" : "");
    EXPECT_GT(known.size(), 90U);
    EXPECT_THAT(shown, ContainerEq(known));
}

TEST(PolicySchema, HasTheDefaultsOfTheLoader) {
    const std::map<std::string, SchemaKey> keys = SchemaKeys();
    std::size_t compared = 0;
    for (const auto& [key, value] : LoaderDefaults()) {
        ASSERT_TRUE(keys.contains(key)) << key;
        const json& schema = keys.at(key).schema;
        if (value.find(' ') != std::string::npos) {  // in words
            EXPECT_FALSE(schema.contains("default")) << key;
        } else if (schema.contains("default") && schema.at("default").is_string()) {
            EXPECT_EQ(schema.at("default"), value) << key;
        } else {
            EXPECT_EQ(schema.contains("default") ? schema.at("default").dump() : "none", value) << key;
        }
        ++compared;
    }
    EXPECT_GT(compared, 60U);
}

// A policy that sets a key, with all else that its tables need.
std::string PolicyWith(const std::map<std::string, SchemaKey>& keys, std::string name, std::string setting) {
    while (true) {
        const std::size_t dot = name.rfind('.');
        const std::string table = dot == std::string::npos ? "" : name.substr(0, dot);
        for (const auto& [other, found] : keys)
            if (found.isNeeded && other != name && other.starts_with(table + ".") &&
                other.find('.', table.size() + 1) == std::string::npos)
                setting += ", " + other.substr(table.size() + 1) + " = \"x\"";
        if (table == "packet_signatures" && !setting.starts_with("text") && !setting.starts_with("hex"))
            setting += ", text = \"x\"";
        if (table == "include" && setting.starts_with("categories")) setting += ", list = \"sites\"";
        if (table.empty()) return setting;
        const std::size_t start = table.rfind('.') + 1;  // 0 without a dot
        const bool isList = keys.at(table).schema.at("type") == "array";
        setting = table.substr(start) + (isList ? " = [{" + setting + "}]" : " = {" + setting + "}");
        name = table;
    }
}

// The loader is asked at each bound and one beyond it.
TEST(PolicySchema, ItsBoundsAreThoseWhereTheLoaderBeginsToRefuse) {
    const std::map<std::string, SchemaKey> keys = SchemaKeys();
    std::size_t asked = 0;
    for (const auto& [key, found] : keys) {
        const bool isMany = found.schema.at("type") == "array";
        const json& schema = isMany ? found.schema.at("items") : found.schema;
        if (schema.contains("anyOf")) continue;  // the bounds are those of its tables
        const std::string name = key.substr(key.rfind('.') + 1);
        PassedOverLists lists;
        const auto isTaken = [&, &whole = key](const std::string& value) {
            const std::string setting =
                (name == "NUMBER" ? "40" : name) + (isMany ? " = [" + value + "]" : " = " + value);
            return ParsePolicy(PolicyWith(keys, whole, setting), {}, &lists).mistakes.empty();
        };
        const auto text = [&](std::size_t length) { return '"' + std::string(length, 'a') + '"'; };
        if (schema.at("type") == "integer") {
            const auto least = schema.at("minimum").get<std::int64_t>();
            const auto most = schema.at("maximum").get<std::int64_t>();
            EXPECT_TRUE(isTaken(std::to_string(least))) << key;
            EXPECT_TRUE(isTaken(std::to_string(most))) << key;
            EXPECT_FALSE(isTaken(std::to_string(least - 1))) << key;
            EXPECT_FALSE(isTaken(std::to_string(most + 1))) << key;
            ++asked;
        } else if (schema.contains("enum")) {
            for (const json& word : schema.at("enum"))
                EXPECT_TRUE(isTaken(word.dump() + (word == "sites" ? ", categories = [1]" : ""))) << key << word;
            EXPECT_FALSE(isTaken("\"other\"")) << key;
            ++asked;
        } else if (key.starts_with("serve.") && schema.contains("pattern")) {
            continue;  // no run of letters has the form, which the next test asks for
        } else if (schema.contains("maxLength") && FormOf(found.schema) != "addresses") {
            const bool isHex = key == "packet_signatures.hex";  // whole pairs
            const auto most = schema.at("maxLength").get<std::size_t>();
            EXPECT_TRUE(isTaken(text(isHex ? most - 1 : most))) << key;
            EXPECT_FALSE(isTaken(text(most + 1))) << key;
            if (!isHex) {
                EXPECT_EQ(isTaken("\"\""), schema.at("minLength") == 0) << key;
            }
            ++asked;
        }
    }
    EXPECT_GT(asked, 50U);
}

// Both sides are asked for the same texts.
TEST(PolicySchema, ItsPatternsTakeWhatTheLoaderTakes) {
    struct Case {
        const char* key;
        const char* text;
        bool isTaken;
    };
    constexpr Case kCases[] = {
        {"malicious_sites.host", "shop.example", true},
        {"malicious_sites.host", "http://shop.example", false},
        {"phishing_sites.host", "a b.example", false},
        {"phishing_sites.host", "a.example:80", false},
        {"packet_signatures.hex", "de ad be ef", true},
        {"packet_signatures.hex", "de a", false},
        {"packet_signatures.hex", "xy", false},
        {"parental.users.schedule.monday", "08:00-12:30", true},
        {"parental.users.schedule.monday", "8-12", false},
        {"parental.users.schedule.monday", "all", false},
        {"parental.users.schedule.monday", "0:00-23:59", true},
        {"serve.proxy", "127.0.0.1:8080", true},
        {"serve.proxy", "[::1]:8080", true},
        {"serve.status", "off", true},
        {"serve.socks", "127.0.0.1", false},
        {"serve.dns", "localhost:53", false},
        {"serve.block_page_address", "", true},
        {"serve.block_page_address", "192.0.2.7", true},
        {"serve.block_page_address", "192.0.2.7:8000", true},
        {"serve.block_page_address", "[2001:db8::7]:8000", true},
        {"serve.block_page_address", "here", false},
        {"serve.hosts", "nas.example=2001:db8::9", true},
        {"serve.hosts", "nas.example", false},
        {"serve.hosts", "http://nas.example=192.0.2.9", false},
    };
    const std::map<std::string, SchemaKey> keys = SchemaKeys();
    for (const auto& [key, text, isTaken] : kCases) {
        const json& schema = keys.at(key).schema;
        const bool isMany = schema.at("type") == "array";
        const std::regex pattern((isMany ? schema.at("items") : schema).at("pattern").get<std::string>());
        EXPECT_EQ(std::regex_search(text, pattern), isTaken) << key << " " << text;
        const std::string value = '"' + std::string(text) + '"';
        const std::string name = std::string(key).substr(std::string(key).rfind('.') + 1);
        const std::string setting = name + " = " + (isMany ? "[" + value + "]" : value);
        EXPECT_EQ(ParsePolicy(PolicyWith(keys, key, setting)).mistakes.empty(), isTaken) << key << " " << text;
    }
    const json names = ReadSchema().at("properties").at("category_names").at("patternProperties");
    const std::regex number(names.begin().key());
    for (const auto& [text, isTaken] : std::map<std::string, bool>{
             {"0", true}, {"65535", true}, {"002", true}, {"65536", false}, {"70000", false}, {"x", false}}) {
        EXPECT_EQ(std::regex_search(text, number), isTaken) << text;
        EXPECT_EQ(ParsePolicy("category_names." + text + " = \"x\"").mistakes.empty(), isTaken) << text;
    }
}

}  // namespace
}  // namespace tarn::policy
