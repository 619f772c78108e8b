// The parental-control tables in their life: the copy read and published, withdrawn and freed; sessions rebuilt and
// saved. What the copy holds is the parental floor's, what scans ask of it the URL floor's.
#ifndef TARN_API_PARENTAL_LOAD_H
#define TARN_API_PARENTAL_LOAD_H

#include <cstdint>

#include "api/library.h"
#include "modules/pass_through.h"

namespace tarn::api {

// Reads the settings and replaces the copy and its published form. False, with both empty, when the read or the copy
// fails.
bool LoadParentalControl(Library& library, std::uint32_t& error, modules::PassThrough* passed = nullptr);

void FreeParentalControl(Library& library);

// The account sessions, under the write side of the parental-control lock.
bool RebuildUserSessions(Library& library, std::uint32_t& error);
bool SaveAndClearUserSessions(Library& library, std::uint32_t& error, modules::PassThrough* passed = nullptr);

}  // namespace tarn::api

#endif
