// What the life of the library needs of the system beyond its modules; one implementation per platform, a fake in
// tests. Reading files and the registry is the edge's, deciding on what they say is the caller's.
#ifndef TARN_API_PLATFORM_H
#define TARN_API_PLATFORM_H

#include <cstdint>
#include <string_view>

#include "base/bounded_text.h"
#include "modules/module_system.h"

namespace tarn::api {

class Platform {
 public:
    virtual ~Platform() = default;

    virtual modules::ModuleSystem& Modules() = 0;
    // The integer of an ini file's key; a missing file or key gives the default.
    virtual std::uint32_t ReadIniInteger(const base::PathBuffer& file, const char16_t* section, const char16_t* key,
                                         std::uint32_t defaultValue) = 0;
};

}  // namespace tarn::api

#endif
