// The running system's version. Every entry point is looked up at run time; a missing one makes the query fail.
// Any thread may ask.
#ifndef TARN_MACHINE_OS_VERSION_WIN32_H
#define TARN_MACHINE_OS_VERSION_WIN32_H

#include "machine/os_version.h"

namespace tarn::machine {

bool QueryVersion(VersionRecord& version);
std::uint16_t QueryArchitecture();
// number as in ExactVersion.
bool QueryIsExactlyVersion(int number, bool& matches);
// Older than 5.1 (5.2 on a 64-bit architecture) with service pack 2.0.
bool QueryIsOlderThanServicePackBaseline(bool& older);
SystemFacts QuerySystemFacts();

}  // namespace tarn::machine

#endif
