// Scripts that complete the command line in a shell.
#ifndef TARN_HOST_COMPLETION_H
#define TARN_HOST_COMPLETION_H

#include <string>

#include "host/program_shape.h"

namespace tarn::host {

std::string BashCompletion(const ProgramShape& program);
std::string ZshCompletion(const ProgramShape& program);
std::string PowerShellCompletion(const ProgramShape& program);

}  // namespace tarn::host

#endif
