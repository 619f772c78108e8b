// The keys of a policy as the loader itself tells them: asked by giving it what it must refuse, never copied from it.
#ifndef TARN_TESTS_COMPANIONS_LOADER_KEYS_H
#define TARN_TESTS_COMPANIONS_LOADER_KEYS_H

#include <map>
#include <set>
#include <string>

namespace tarn::policy {

struct KeyForm {
    std::string value;  // what it takes, such as "0 to 255" or "texts of 1 to 1023 bytes"
    bool isNeeded = false;
};

struct LoaderKeys {
    std::map<std::string, KeyForm> keys;  // by their whole names; "NUMBER" stands for a key that is a number
    std::set<std::string> tables;         // as headings write them: "[features]", "[[malicious_sites]]"
};

// Whether a value is a table, or tables.
bool IsTable(const KeyForm& form);

LoaderKeys AskLoader();

// What holds, by the whole names of the keys, where a policy says no more than that there is an entry: "true", "80",
// "none" for an empty text or list. Keys that are needed have none.
std::map<std::string, std::string> LoaderDefaults();

}  // namespace tarn::policy

#endif
