#include "policy/section.h"

#include <algorithm>
#include <fmt/format.h>
#include <fmt/ranges.h>

namespace tarn::policy {
namespace {

std::string_view KindOf(const toml::node& node) {
    switch (node.type()) {
        case toml::node_type::table:
            return "a table";
        case toml::node_type::array:
            return "an array";
        case toml::node_type::string:
            return "a text";
        case toml::node_type::integer:
            return "a whole number";
        case toml::node_type::floating_point:
            return "a number with a fraction";
        case toml::node_type::boolean:
            return "true or false";
        default:
            return "a date or time";
    }
}

// How many characters must change to make one key of the other.
std::size_t Distance(std::string_view a, std::string_view b) {
    std::vector<std::size_t> row(b.size() + 1);
    for (std::size_t j = 0; j < row.size(); ++j) row[j] = j;
    for (std::size_t i = 1; i <= a.size(); ++i) {
        std::size_t corner = row[0];
        row[0] = i;
        for (std::size_t j = 1; j <= b.size(); ++j) {
            const std::size_t above = row[j];
            row[j] = std::min({above + 1, row[j - 1] + 1, corner + (a[i - 1] == b[j - 1] ? 0 : 1)});
            corner = above;
        }
    }
    return row.back();
}

}  // namespace

Place PlaceOf(const toml::node& node) {
    return {0, node.source().begin.line};
}

// NOLINTNEXTLINE(bugprone-exception-escape)
Section::~Section() {
    if (takesEveryKey_) return;
    for (const auto& [key, value] : table_) {
        const std::string_view name = key;
        if (std::find(known_.begin(), known_.end(), name) != known_.end()) continue;
        std::string text = fmt::format("unknown key \"{}\"", name);
        const auto nearest = std::min_element(known_.begin(), known_.end(), [&](const auto& a, const auto& b) {
            return Distance(a, name) < Distance(b, name);
        });
        if (nearest != known_.end() && Distance(*nearest, name) <= 2)
            text += fmt::format(" (did you mean \"{}\"?)", *nearest);
        std::sort(known_.begin(), known_.end());
        text += fmt::format("; allowed {}: {}", name_.empty() ? "at the top" : "in " + name_, fmt::join(known_, ", "));
        mistakes_.push_back({key.source().begin.line, key.source().begin.column, std::move(text)});
    }
}

std::string Section::Named(std::string_view key) const {
    return name_.empty() ? std::string(key) : fmt::format("{}.{}", name_, key);
}

const toml::node* Section::Find(std::string_view key) {
    if (std::find(known_.begin(), known_.end(), key) == known_.end()) known_.emplace_back(key);
    return table_.get(key);
}

void Section::Complain(const toml::node& node, std::string text) {
    mistakes_.push_back({node.source().begin.line, node.source().begin.column, std::move(text)});
}

void Section::Read(std::string_view key, bool& out) {
    const toml::node* node = Find(key);
    if (node == nullptr) return;
    if (const auto* value = node->as_boolean())
        out = value->get();
    else
        Complain(*node, fmt::format("{} is {}; allowed: true or false", Named(key), KindOf(*node)));
}

void Section::ReadNumber(std::string_view key, std::int64_t& out, std::int64_t least, std::int64_t most) {
    if (const toml::node* node = Find(key)) CheckNumber(key, *node, out, least, most);
}

bool Section::CheckNumber(std::string_view key, const toml::node& node, std::int64_t& out, std::int64_t least,
                          std::int64_t most) {
    const auto* value = node.as_integer();
    if (value == nullptr) {
        Complain(node,
                 fmt::format("{} is {}; allowed: a whole number from {} to {}", Named(key), KindOf(node), least, most));
        return false;
    }
    if (value->get() < least || value->get() > most) {
        Complain(node, fmt::format("{} is {}; allowed: {} to {}", Named(key), value->get(), least, most));
        return false;
    }
    out = value->get();
    return true;
}

bool Section::CheckText(std::string_view key, const toml::node& node, std::string& out, TextBound bound) {
    const auto* value = node.as_string();
    if (value == nullptr) {
        Complain(node, fmt::format("{} is {}; allowed: a text of at most {} characters", Named(key), KindOf(node),
                                   bound.capacity - 1));
        return false;
    }
    const std::string& text = value->get();
    if (text.size() >= bound.capacity || (text.empty() && !bound.mayBeEmpty) || text.find('\0') != std::string::npos) {
        Complain(node, fmt::format("{} has {} characters; allowed: {} to {}, without a NUL", Named(key), text.size(),
                                   bound.mayBeEmpty ? 0 : 1, bound.capacity - 1));
        return false;
    }
    out = text;
    return true;
}

void Section::Read(std::string_view key, std::string& out, TextBound bound) {
    if (const toml::node* node = Find(key)) CheckText(key, *node, out, bound);
}

void Section::Need(std::string_view key, std::string& out, TextBound bound) {
    if (const toml::node* node = Find(key))
        CheckText(key, *node, out, bound);
    else
        Complain(table_, fmt::format("{} is missing", Named(key)));
}

void Section::Read(std::string_view key, std::vector<ListedText>& out, TextBound bound) {
    ReadArray(key, "an array of texts", [&](const toml::node& item) {
        std::string text;
        if (CheckText(key, item, text, bound)) out.push_back({std::move(text), PlaceOf(item)});
    });
}

void Section::ReadArray(std::string_view key, std::string_view wanted,
                        const std::function<void(const toml::node&)>& read) {
    const toml::node* node = Find(key);
    if (node == nullptr) return;
    const toml::array* array = node->as_array();
    if (array == nullptr) {
        Complain(*node, fmt::format("{} is {}; allowed: {}", Named(key), KindOf(*node), wanted));
        return;
    }
    for (const toml::node& item : *array) read(item);
}

void Section::Inside(std::string_view key, const toml::table& table, const std::function<void(Section&)>& read) {
    Section inner(table, Named(key), mistakes_);
    read(inner);
}

void Section::Table(std::string_view key, const std::function<void(Section&)>& read) {
    const toml::node* node = Find(key);
    if (node == nullptr) return;
    if (const toml::table* table = node->as_table()) {
        Inside(key, *table, read);
    } else {
        Complain(*node, fmt::format("{} is {}; allowed: a table, [{}]", Named(key), KindOf(*node), Named(key)));
    }
}

void Section::Tables(std::string_view key, const std::function<void(Section&)>& read) {
    ReadArray(key, fmt::format("tables, each under [[{}]]", Named(key)), [&](const toml::node& item) {
        if (const toml::table* table = item.as_table()) {
            Inside(key, *table, read);
        } else {
            Complain(item, fmt::format("{} holds {}; allowed: tables", Named(key), KindOf(item)));
        }
    });
}

void Section::Each(const std::function<void(std::string_view, const toml::node&)>& read) {
    takesEveryKey_ = true;
    for (const auto& [key, value] : table_) read(key, value);
}

}  // namespace tarn::policy
