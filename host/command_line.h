// The command line of tarnhost: options, commands and exit codes.
// What a command does stands in commands/, one file each; what it needs of Windows in Environment.
#ifndef TARN_HOST_COMMAND_LINE_H
#define TARN_HOST_COMMAND_LINE_H

#include <ostream>
#include <string>
#include <vector>

#include "host/judge.h"

namespace tarn::host {

// arguments: without the program's name. Returns the exit code.
int RunCommandLine(std::vector<std::string> arguments, Environment& environment, std::ostream& out,
                   std::ostream& errors);

}  // namespace tarn::host

#endif
