// Takes the lists that a policy includes into the policy, and tells what of them is not used.
// What an entry means stands in list_file.h; the policy's own entries win.
#ifndef TARN_COMPANIONS_POLICY_LIST_READER_H
#define TARN_COMPANIONS_POLICY_LIST_READER_H

#include <cstdint>
#include <string>
#include <vector>

#include "policy/list_files.h"
#include "policy/policy.h"
#include "policy/section.h"

namespace tarn::policy {

// One file as one item of "include" takes it.
struct IncludedList {
    std::string name;
    std::string list;               // the key that its entries go to, such as "malicious_sites"
    std::string format;             // "auto" and the like, as the policy says
    std::string threat;             // of malicious_sites
    std::string categories;         // of sites, as text: "5, 7"
    Place place{};                  // of the item
    std::uint64_t fingerprint = 0;  // of its content
    std::uint32_t entries = 0;      // that are used
    std::uint32_t repeated = 0;     // stand in the policy or further up already
    std::uint32_t exceptions = 0;   // "@@"
    std::uint32_t excepted = 0;     // taken out by an exception
    std::uint32_t unused = 0;       // lines that say what the library cannot do
};

// What the text of a policy includes, whatever mistakes it has.
std::vector<std::string> IncludePatterns(std::string_view text);

// files: null when nobody can read a file here. Comes after everything else was read.
void ReadIncludes(Section& top, Policy& policy, ListFiles* files, std::vector<IncludedList>& lists,
                  std::vector<Mistake>& warnings);

}  // namespace tarn::policy

#endif
