#include "companions/loader_keys.h"

#include <optional>
#include <stdexcept>
#include <vector>

#include "policy/policy_reader.h"

namespace tarn::policy {
namespace {

// No value of the policy is a date, so the loader answers with what is allowed.
constexpr const char* kDate = "1979-05-27";
constexpr const char* kUnknown = "no_such_key";
constexpr const char* kNumberKey = "NUMBER";

struct Step {
    std::string key;
    bool isList;
};
using KeyPath = std::vector<Step>;

std::string NameOf(const KeyPath& place, const std::string& key) {
    std::string name;
    for (const Step& step : place) name += step.key + ".";
    return name + key;
}

// A policy with this setting in the table at place.
std::string PolicyWith(const KeyPath& place, std::string setting) {
    for (auto step = place.rbegin(); step != place.rend(); ++step)
        setting = step->key + (step->isList ? " = [{" + setting + "}]" : " = {" + setting + "}");
    return setting;
}

// What is behind these first words in one of the mistakes.
std::optional<std::string> Told(const std::string& policy, const std::string& firstWords) {
    for (const Mistake& mistake : ParsePolicy(policy).mistakes)
        if (mistake.text.starts_with(firstWords)) return mistake.text.substr(firstWords.size());
    return std::nullopt;
}

std::string Must(const std::optional<std::string>& told, const std::string& name) {
    if (!told) throw std::runtime_error("the loader does not say what it takes for " + name);
    return *told;
}

// The keys of a table; none when it takes every key.
std::vector<std::string> KeysOf(const KeyPath& place) {
    const auto told = Told(PolicyWith(place, std::string(kUnknown) + " = 1"), "unknown key \"" + std::string(kUnknown));
    if (!told) return {};
    std::vector<std::string> keys;
    constexpr std::string_view kAllowed = "; allowed ";
    std::size_t at = told->find(": ", told->find(kAllowed) + kAllowed.size()) + 2;
    while (at < told->size()) {
        const std::size_t end = std::min(told->find(", ", at), told->size());
        keys.push_back(told->substr(at, end - at));
        at = end + 2;
    }
    return keys;
}

class Asker {
 public:
    LoaderKeys Ask() {
        AskTable({});
        return std::move(found_);
    }

 private:
    void AskTable(const KeyPath& place) {
        const std::vector<std::string> keys = KeysOf(place);
        if (keys.empty()) {
            found_.keys[NameOf(place, kNumberKey)] = FormOf(place, "1");
            return;
        }
        for (const std::string& key : keys) {
            const KeyForm form = FormOf(place, key);
            found_.keys[NameOf(place, key)] = form;
            if (!IsTable(form)) continue;
            KeyPath inner = place;
            inner.push_back({key, form.value != "table"});
            const std::string name = NameOf(place, key);
            found_.tables.insert(inner.back().isList ? "[[" + name + "]]" : "[" + name + "]");
            AskTable(inner);
        }
    }

    static KeyForm FormOf(const KeyPath& place, const std::string& key) {
        const std::string name = NameOf(place, key);
        const std::string words = name + " is a date or time; allowed: ";
        const std::string wanted = Must(Told(PolicyWith(place, key + " = " + kDate), words), name);
        KeyForm form;
        form.isNeeded = Told(PolicyWith(place, ""), name + " is missing").has_value();
        if (wanted == "true or false")
            form.value = "true, false";
        else if (wanted.starts_with("a table, "))
            form.value = "table";
        else if (wanted.starts_with("tables, "))
            form.value = "tables";
        else if (wanted == "file names and tables")
            form.value = wanted;
        else if (wanted.starts_with("an array of times"))
            form.value = "times";
        else if (wanted == "an array of addresses")
            form.value = "addresses";
        else if (wanted.starts_with("an array of "))
            form.value = FormOfItem(place, key, "[", "]", true);
        else
            form.value = FormOfItem(place, key, "", "", false);
        return form;
    }

    // Of a text or a number, alone or in an array.
    static std::string FormOfItem(const KeyPath& place, const std::string& key, const std::string& open,
                                  const std::string& close, bool isMany) {
        const std::string name = NameOf(place, key);
        const auto with = [&](const std::string& value) {
            return PolicyWith(place, std::string(key).append(" = ").append(open).append(value).append(close));
        };
        const std::string wanted = Must(Told(with(kDate), name + " is a date or time; allowed: "), name);
        constexpr std::string_view kNumber = "a whole number from ";
        if (wanted.starts_with(kNumber)) return (isMany ? "numbers, " : "") + wanted.substr(kNumber.size());
        constexpr std::string_view kText = "a text of at most ";
        if (!wanted.starts_with(kText)) throw std::runtime_error(name + ": " + wanted);
        const std::string most = wanted.substr(kText.size(), wanted.find(' ', kText.size()) - kText.size());
        const bool mayBeEmpty = !Told(with("\"\""), name + " has 0 characters").has_value();
        return (isMany ? "texts of " : "text of ") + std::string(mayBeEmpty ? "0" : "1") + " to " + most + " bytes";
    }

    LoaderKeys found_;
};

}  // namespace

bool IsTable(const KeyForm& form) {
    return form.value == "table" || form.value == "tables" || form.value == "file names and tables";
}

LoaderKeys AskLoader() {
    return Asker().Ask();
}

}  // namespace tarn::policy
