// What the check of a companion module finds, and what it is asked to check.
#ifndef TARN_HOST_COMPANION_KIT_FINDING_H
#define TARN_HOST_COMPANION_KIT_FINDING_H

#include <cstdint>
#include <string>
#include <vector>

namespace tarn::host {

struct CompanionFinding {
    std::string module;       // the name of its file
    std::string function;     // the export; empty for the module as a whole
    std::string text;         // what was seen
    std::string consequence;  // what the library makes of it
    bool isNote = false;      // worth knowing, but nothing is wrong
    bool operator==(const CompanionFinding&) const = default;
};

struct CompanionCheck {
    std::string folder;                       // of the modules, with the separator at its end
    std::string module;                       // the one to check
    std::vector<std::string> neighbours;      // the modules that the library has loaded before it
    std::vector<std::string> addresses;       // to ask about, "host/path"
    bool writes = false;                      // also call what saves something
    std::uint32_t secondsWithoutAnswer = 20;  // then a call counts as hanging
};

}  // namespace tarn::host

#endif
