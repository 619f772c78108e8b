// Writes something new into the text of a policy, wherever it goes beside what stands there already.
// Plain values; the tree belongs to the object.
#ifndef TARN_HOST_EXPLAIN_POLICY_TEXT_H
#define TARN_HOST_EXPLAIN_POLICY_TEXT_H

#include <optional>
#include <string>
#include <string_view>
#include <toml++/toml.h>

#include "host/explain/policy_entry.h"

namespace tarn::host {

struct Insertion {
    std::string text;     // of the policy with it
    std::string written;  // what a person writes
    std::string where;    // "at the end of tarn-policy.toml"
};

class PolicyText {
 public:
    // file: as people know it. The text of a policy without mistakes.
    PolicyText(std::string text, std::string file);

    [[nodiscard]] const std::string& Text() const { return text_; }
    // "key = value" in a table, or the value that the key has there.
    [[nodiscard]] Insertion Set(const std::string& table, const std::string& key, const std::string& value) const;
    // A text in a list of a table.
    [[nodiscard]] Insertion AddText(const std::string& table, const std::string& key, const std::string& text) const;
    // An entry with that host in a list of tables at the top.
    [[nodiscard]] Insertion AddSite(const std::string& list, const std::string& host) const;
    // The same in a list of the first entry under parental.users; nothing when there is none.
    [[nodiscard]] std::optional<Insertion> AddUserSite(const std::string& list, const std::string& host) const;
    // The other value of a switch that an entry has; nothing when it has none.
    [[nodiscard]] std::optional<Insertion> SwitchOn(const policy::Policy& policy, const EntryRef& entry,
                                                    const std::string& key) const;

 private:
    [[nodiscard]] std::size_t At(const toml::source_position& position) const;
    [[nodiscard]] std::string Line(std::size_t at) const;
    // Whether an array is written in brackets, not as [[tables]].
    [[nodiscard]] bool IsInline(const toml::array& array) const;
    [[nodiscard]] Insertion InFront(const toml::array& array, const std::string& key, const std::string& item) const;
    [[nodiscard]] Insertion AtEnd(std::string written) const;
    [[nodiscard]] Insertion InPlaceOf(const toml::node& node, const std::string& key, const std::string& value) const;

    std::string text_;
    std::string file_;
    toml::table root_;
};

}  // namespace tarn::host

#endif
