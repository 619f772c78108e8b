// One table of a policy file: hands out its values with their types and bounds checked, and collects every mistake with
// its line, its column and what is allowed there.
#ifndef TARN_COMPANIONS_POLICY_SECTION_H
#define TARN_COMPANIONS_POLICY_SECTION_H

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <toml++/toml.h>
#include <vector>

#include "policy/policy.h"

namespace tarn::policy {

struct Mistake {
    std::uint32_t line = 0;    // from 1; 0 when the whole file is meant
    std::uint32_t column = 0;  // from 1; 0 when the whole line is meant
    std::string text;
    std::string file{};  // an included one; empty for the policy itself
};

// Of the policy file itself.
Place PlaceOf(const toml::node& node);

// Text that is kept in a field of capacity characters, its NUL included.
struct TextBound {
    std::size_t capacity;
    bool mayBeEmpty = false;
};

class Section {
 public:
    Section(const toml::table& table, std::string name, std::vector<Mistake>& mistakes)
        : table_(table), name_(std::move(name)), mistakes_(mistakes) {}
    // Reports the keys that nobody asked for.
    ~Section();  // NOLINT(bugprone-exception-escape): whoever has no memory for a message may end here
    Section(const Section&) = delete;
    Section& operator=(const Section&) = delete;

    void Read(std::string_view key, bool& out);
    template <class Number>
    void Read(std::string_view key, Number& out, std::int64_t least, std::int64_t most) {
        auto value = static_cast<std::int64_t>(out);
        ReadNumber(key, value, least, most);
        out = static_cast<Number>(value);
    }
    void Read(std::string_view key, std::string& out, TextBound bound);
    void Read(std::string_view key, std::vector<ListedText>& out, TextBound bound);
    template <class Number>
    void Read(std::string_view key, std::vector<Number>& out, std::int64_t least, std::int64_t most) {
        ReadArray(key, "an array of whole numbers", [&](const toml::node& item) {
            std::int64_t value = 0;
            if (CheckNumber(key, item, value, least, most)) out.push_back(static_cast<Number>(value));
        });
    }
    // A needed text: a missing one is a mistake.
    void Need(std::string_view key, std::string& out, TextBound bound);

    // The table of key, or each table of the array of tables.
    void Table(std::string_view key, const std::function<void(Section&)>& read);
    void Tables(std::string_view key, const std::function<void(Section&)>& read);
    // A table that is an item of key.
    void Inside(std::string_view key, const toml::table& table, const std::function<void(Section&)>& read);
    // Each item of an array, unchecked.
    void ReadArray(std::string_view key, std::string_view wanted, const std::function<void(const toml::node&)>& read);
    // Every key with its value, for tables whose keys are data.
    void Each(const std::function<void(std::string_view key, const toml::node& value)>& read);

    bool CheckText(std::string_view key, const toml::node& node, std::string& out, TextBound bound);
    void Complain(const toml::node& node, std::string text);
    [[nodiscard]] const toml::node& Whole() const { return table_; }
    [[nodiscard]] Place Where() const { return PlaceOf(table_); }
    [[nodiscard]] const toml::node* Find(std::string_view key);

 private:
    void ReadNumber(std::string_view key, std::int64_t& out, std::int64_t least, std::int64_t most);
    bool CheckNumber(std::string_view key, const toml::node& node, std::int64_t& out, std::int64_t least,
                     std::int64_t most);
    [[nodiscard]] std::string Named(std::string_view key) const;

    const toml::table& table_;
    std::string name_;
    std::vector<Mistake>& mistakes_;
    std::vector<std::string> known_;
    bool takesEveryKey_ = false;
};

}  // namespace tarn::policy

#endif
