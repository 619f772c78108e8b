// The calls of a script: each is made with records full of one byte, and answered with what it left in them.
#ifndef TARN_TESTS_MODEL_DRIVER_CALLS_WIN32_H
#define TARN_TESTS_MODEL_DRIVER_CALLS_WIN32_H

#include <string>

#include "model/driver/line.h"
#include "model/driver/machine_win32.h"

namespace tarn::model {

// Makes the call that the line names; the result, then NAME=VALUE for every record. Throws when there is no such call.
std::string Call(const std::string& name, Line& line, Machine& machine);

}  // namespace tarn::model

#endif
