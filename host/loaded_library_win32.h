// Loads tarn.dll and drives it through its exports, as the host process does.
// It knows the library by include/tarn/ alone.
#ifndef TARN_HOST_LOADED_LIBRARY_WIN32_H
#define TARN_HOST_LOADED_LIBRARY_WIN32_H

#include <memory>
#include <ostream>
#include <string>

#include "host/judge.h"

namespace tarn::host {

// The folder that tarnhost.exe stands in, with a backslash at its end.
std::wstring OwnFolder();
// In full and with a backslash at its end.
std::wstring FullFolder(const std::wstring& folder);

// Names the policy of the options to the modules; the result is the one that they read.
std::string ChoosePolicy(const LibraryOptions& options, const std::wstring& installFolder);

// terminal: told how much of long lists of the policy has been read; null for nobody.
std::unique_ptr<Judge> LoadLibraryFromOwnFolder(const LibraryOptions& options, std::string& mistake,
                                                std::ostream* terminal = nullptr);
// The same from another folder, with a backslash at its end.
std::unique_ptr<Judge> LoadLibraryFrom(const std::wstring& folder, const LibraryOptions& options, std::string& mistake,
                                       std::ostream* terminal = nullptr);

}  // namespace tarn::host

#endif
