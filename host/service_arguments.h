// The command line of the service that tarnhost serve installs.
// Pure functions.
#ifndef TARN_HOST_SERVICE_ARGUMENTS_H
#define TARN_HOST_SERVICE_ARGUMENTS_H

#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace tarn::host {

// Whether the system started this run as its service: "serve" with "--service run".
bool AsksToRunAsService(const std::vector<std::string>& arguments);

// Those of an installing run, so that the service gets the same: "run" in the place of "install", and file names as
// makeAbsolute gives them, because a service starts in another folder.
std::vector<std::string> ServiceArguments(const std::vector<std::string>& arguments,
                                          const std::function<std::string(const std::string&)>& makeAbsolute);

// What Windows is told of the exit code of a service that has stopped: a failure is started again after a while.
// Options that are wrong stay wrong, so they are none; the system's log says what they are.
int ToldExitCode(int exitCode);

// As Windows takes a command line apart again.
std::string QuotedForWindows(std::string_view argument);
std::string CommandLineOf(const std::vector<std::string>& arguments);

}  // namespace tarn::host

#endif
