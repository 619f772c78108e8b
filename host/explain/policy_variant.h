// A policy as it would be with other words in it or in the lists that it includes. Its files stay as they are.
#ifndef TARN_HOST_EXPLAIN_POLICY_VARIANT_H
#define TARN_HOST_EXPLAIN_POLICY_VARIANT_H

#include <cstdint>
#include <filesystem>
#include <map>
#include <string>

#include "policy/policy_reader.h"

namespace tarn::host {

struct PolicyVariant {
    std::string file;  // whose text it was; the lists stand from its folder on
    std::string text;
    std::map<std::string, std::string> lists{};  // the texts of those that differ, by their name in the policy
    bool withoutLists = false;                   // nothing is in any list
};

// As the reference modules would read it.
policy::ReadPolicy ReadVariant(const PolicyVariant& variant, const policy::FindSid& findSid = {});

// Blanks a line of a list; the others keep their numbers. False with the reason when the list cannot be read.
bool TakeLineOut(PolicyVariant& variant, const std::string& list, std::uint32_t line, std::string& whyNot);

// Writes it to a new file, which names its lists from anywhere; copies of those that differ go beside it. The files are
// old enough for the modules to take them as finished. False with the reason.
bool WriteVariant(const PolicyVariant& variant, const std::filesystem::path& file, std::string& whyNot);

}  // namespace tarn::host

#endif
