// What the commands ask of the machine besides the library: accounts, the clock, the kept sessions.
// Commands see it through the environment only.
#ifndef TARN_HOST_THIS_MACHINE_WIN32_H
#define TARN_HOST_THIS_MACHINE_WIN32_H

#include <optional>
#include <string>
#include <vector>

#include "host/judge.h"

namespace tarn::host {

// As the library is opened with these options, with a backslash at its end; a registered one as it stands in the
// registry.
std::wstring InstallFolderFor(const LibraryOptions& options);

bool FindMachineAccount(const std::string& name, Account& account);

TarnSystemTime MachineTime();
// Of a moment since 1970; nothing for one that no calendar has.
std::optional<TarnSystemTime> MachineTimeOf(std::uint64_t nanoseconds);

// The xn-- form of an international host name; nothing when it is none.
std::optional<std::string> AsciiHostOf(const std::string& utf8);

// Asks the status reader of the folder. Empty, too, when it cannot be loaded.
std::vector<SavedSessionRecord> ReadSavedSessionsOf(const std::wstring& installFolder);
// The DNS answers that it would hand to the library; 0, too, when it cannot be loaded.
std::size_t CountSavedAnswersOf(const std::wstring& installFolder);

}  // namespace tarn::host

#endif
