// What the user names on the command line, taken apart into single inputs: folders into their captures, lists into
// their lines.
#ifndef TARN_HOST_NAMED_INPUTS_H
#define TARN_HOST_NAMED_INPUTS_H

#include <fstream>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "host/standard_input.h"

namespace tarn::host {

inline constexpr std::string_view kStandardInput = "-";

// One input, or why what was named yields none.
struct NamedInput {
    std::string name;
    std::string mistake;  // empty for an input
    // Of a capture, what events and rows call it: its name, below a named folder with the folders between. Where two
    // of a run would be called the same, the whole name as it was given.
    std::string shown{};
};

// Files as they are named, the captures below a folder by name (*.pcap, *.pcapng, *.cap, packed too), the lines of
// "@list" in the same way. "-" stays. Links to folders below a folder are not followed.
std::vector<NamedInput> ListCaptures(const std::vector<std::string>& named);

// A file that is read in long blocks: each one is a call of the system, which under Wine is a slow one.
struct CaptureFile {
    std::vector<char> block = std::vector<char>(262144);
    std::ifstream stream;
};

// Opens a capture; false with the reason in mistake.
bool OpenCaptureFile(const std::string& name, CaptureFile& file, std::string& mistake);

// Hands on each text: those that are named, for "-" the lines of input, for "@list" those of a file. Empty lines are
// passed over. Ends when use returns false. What cannot be read goes to complain.
void ForEachText(const std::vector<std::string>& named, StandardInput& input,
                 const std::function<bool(const std::string&)>& use,
                 const std::function<void(const std::string&)>& complain);

}  // namespace tarn::host

#endif
