// What was expected beside what was found, in two columns that fit into 80.
#ifndef TARN_HOST_EXPECTATIONS_SIDE_BY_SIDE_H
#define TARN_HOST_EXPECTATIONS_SIDE_BY_SIDE_H

#include <cstddef>
#include <string>
#include <vector>

#include "host/expectations/finding.h"

namespace tarn::host {

// Lines, each with its end. columns: of a line; 0 stands for 80. What is longer than its column goes on below; a
// difference is marked by "!".
std::string SideBySide(const std::vector<Comparison>& comparisons, std::size_t columns);

}  // namespace tarn::host

#endif
