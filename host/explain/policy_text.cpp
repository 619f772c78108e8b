#include "host/explain/policy_text.h"

#include <algorithm>
#include <fmt/format.h>
#include <utility>

#include "host/explain/entry_node.h"
#include "host/explain/toml_text.h"

namespace tarn::host {

PolicyText::PolicyText(std::string text, std::string file) : text_(std::move(text)), file_(std::move(file)) {
    try {
        root_ = toml::parse(text_);
    } catch (const toml::parse_error&) {
        // Nothing stands there, then.
    }
}

std::size_t PolicyText::At(const toml::source_position& position) const {
    return OffsetOf(text_, position);
}

std::string PolicyText::Line(std::size_t at) const {
    const auto line = 1 + std::count(text_.begin(), text_.begin() + static_cast<std::ptrdiff_t>(at), '\n');
    return fmt::format("{}:{}", file_, line);
}

bool PolicyText::IsInline(const toml::array& array) const {
    return text_.compare(At(array.source().begin), 2, "[[") != 0;
}

Insertion PolicyText::InFront(const toml::array& array, const std::string& key, const std::string& item) const {
    Insertion made{text_, item + ",", {}};
    const std::size_t at = At(array.source().begin);
    made.text.insert(at + 1, made.written + ' ');
    made.where = fmt::format("in front of what the list {} of {} holds", key, Line(at));
    return made;
}

Insertion PolicyText::AtEnd(std::string written) const {
    Insertion made{text_, std::move(written), fmt::format("at the end of {}", file_)};
    if (!made.text.empty() && made.text.back() != '\n') made.text += '\n';
    made.text += made.written + '\n';
    return made;
}

Insertion PolicyText::InPlaceOf(const toml::node& node, const std::string& key, const std::string& value) const {
    const std::size_t at = At(node.source().begin);
    Insertion made{text_, fmt::format("{} = {}", key, value), fmt::format("in the place of what {} says", Line(at))};
    made.text.replace(at, At(node.source().end) - at, value);
    return made;
}

Insertion PolicyText::Set(const std::string& table, const std::string& key, const std::string& value) const {
    const toml::table* const known = root_.get_as<toml::table>(table);
    if (known == nullptr) return AtEnd(fmt::format("[{}]\n{} = {}", table, key, value));
    if (const toml::node* const node = known->get(key)) return InPlaceOf(*node, key, value);
    const std::size_t header = At(known->source().begin);
    Insertion made{text_, fmt::format("{} = {}", key, value), fmt::format("below [{}] of {}", table, Line(header))};
    const std::size_t end = text_.find('\n', header);
    if (end == std::string::npos)
        made.text += '\n' + made.written + '\n';
    else
        made.text.insert(end + 1, made.written + '\n');
    return made;
}

Insertion PolicyText::AddText(const std::string& table, const std::string& key, const std::string& text) const {
    const toml::table* const known = root_.get_as<toml::table>(table);
    const toml::array* const list = known == nullptr ? nullptr : known->get_as<toml::array>(key);
    if (list != nullptr) return InFront(*list, key, Quoted(text));
    return Set(table, key, fmt::format("[{}]", Quoted(text)));
}

Insertion PolicyText::AddSite(const std::string& list, const std::string& host) const {
    const toml::array* const known = root_.get_as<toml::array>(list);
    if (known != nullptr && IsInline(*known))
        return InFront(*known, list, fmt::format("{{ host = {} }}", Quoted(host)));
    return AtEnd(fmt::format("[[{}]]\nhost = {}", list, Quoted(host)));
}

std::optional<Insertion> PolicyText::AddUserSite(const std::string& list, const std::string& host) const {
    const toml::table* const parental = root_.get_as<toml::table>("parental");
    const toml::array* const users = parental == nullptr ? nullptr : parental->get_as<toml::array>("users");
    if (users == nullptr || users->empty() || !users->get(0)->is_table()) return std::nullopt;
    const toml::array* const known = users->get(0)->as_table()->get_as<toml::array>(list);
    if (known != nullptr && IsInline(*known))
        return InFront(*known, list, fmt::format("{{ host = {} }}", Quoted(host)));
    Insertion made = AtEnd(fmt::format("[[parental.users.{}]]\nhost = {}", list, Quoted(host)));
    if (users->size() == 1) return made;
    // What stands at the end is the last entry's.
    const std::size_t next = At({users->get(1)->source().begin.line, 1});
    made.text = text_;
    made.text.insert(next, made.written + '\n');
    made.where = fmt::format("in front of the second [[parental.users]], {}", Line(next));
    return made;
}

std::optional<Insertion> PolicyText::SwitchOn(const policy::Policy& policy, const EntryRef& entry,
                                              const std::string& key) const {
    const toml::node* const node = FindNode(root_, policy, entry);
    if (node == nullptr || !node->is_table()) return std::nullopt;
    const toml::node* const value = node->as_table()->get(key);
    if (value == nullptr) return std::nullopt;
    return InPlaceOf(*value, key, "true");
}

}  // namespace tarn::host
