// tarnhost as a service of Windows: how it is installed, removed, and run by the service manager.
// One service for each machine; used by the main thread, but for what says otherwise.
#ifndef TARN_HOST_SERVICE_WIN32_H
#define TARN_HOST_SERVICE_WIN32_H

#include <functional>
#include <ostream>
#include <string>
#include <vector>

namespace tarn::host {

// arguments: of this run. False with the reason and what to do.
bool InstallService(const std::vector<std::string>& arguments, std::string& mistake);
// Stops it first, if it runs.
bool RemoveService(std::string& mistake);

// Runs as the service that the system started. A stop or the machine's end is Ctrl+C for run; what it writes to the
// stream is told to the system's log when it fails. Returns the exit code.
int RunAsService(const std::function<int(std::ostream& errors)>& run);
// The service does now what it is for. Any thread; nothing happens outside a service.
void TellServiceRuns();

}  // namespace tarn::host

#endif
