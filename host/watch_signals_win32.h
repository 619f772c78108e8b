// Signals from a folder's change notification, the console's Ctrl+C and a thread that reads standard input.
// One object at a time: a process has one console.
#ifndef TARN_HOST_WATCH_SIGNALS_WIN32_H
#define TARN_HOST_WATCH_SIGNALS_WIN32_H

#include <memory>
#include <string>

#include "host/watch_signals.h"

namespace tarn::host {

// Null with the reason in mistake.
std::unique_ptr<WatchSignals> WatchFolder(const std::wstring& folder, bool wantsInput, std::string& mistake);

}  // namespace tarn::host

#endif
