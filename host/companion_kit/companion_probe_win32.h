// The process that checks one companion module: it loads the module and may crash or hang in it.
#ifndef TARN_HOST_COMPANION_KIT_COMPANION_PROBE_WIN32_H
#define TARN_HOST_COMPANION_KIT_COMPANION_PROBE_WIN32_H

namespace tarn::host {

// What tarnhost starts itself with for such a process, and the variable that tells it what to check.
inline constexpr const wchar_t* kProbeArgument = L"companion-probe";
inline constexpr const wchar_t* kProbeVariable = L"TARN_COMPANION_PROBE";

// Writes the lines of probe_lines.h to the standard output; the exit code is 0 when it came to the end.
int RunCompanionProbe();

}  // namespace tarn::host

#endif
