// The library's parental-control copy in its life: read and published, withdrawn and freed.
// What the copy holds is the parental floor's, what scans ask of it the URL floor's.
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

}  // namespace tarn::api

#endif
