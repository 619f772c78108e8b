// What the commands ask of the machine besides the library: accounts, the clock, the kept sessions.
// Commands see it through the environment only.
#ifndef TARN_HOST_THIS_MACHINE_WIN32_H
#define TARN_HOST_THIS_MACHINE_WIN32_H

#include <string>
#include <vector>

#include "host/judge.h"

namespace tarn::host {

// With a backslash at its end, as the library is opened with these options.
std::wstring InstallFolderFor(const LibraryOptions& options);

bool FindMachineAccount(const std::string& name, Account& account);

TarnSystemTime MachineTime();

// Asks the status reader of the folder. Empty, too, when it cannot be loaded.
std::vector<SavedSessionRecord> ReadSavedSessionsOf(const std::wstring& installFolder);

}  // namespace tarn::host

#endif
