// The manual page, for man.
#ifndef TARN_HOST_MAN_PAGE_H
#define TARN_HOST_MAN_PAGE_H

#include <string>
#include <string_view>

#include "host/program_shape.h"

namespace tarn::host {

std::string ManPage(const ProgramShape& program, std::string_view version);

}  // namespace tarn::host

#endif
