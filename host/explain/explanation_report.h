// Prints an explanation: as text for people, or as one JSON object.
#ifndef TARN_HOST_EXPLAIN_EXPLANATION_REPORT_H
#define TARN_HOST_EXPLAIN_EXPLANATION_REPORT_H

#include <nlohmann/json.hpp>
#include <ostream>

#include "host/explain/explanation.h"

namespace tarn::host {

void PrintExplanation(const Explanation& explanation, std::ostream& out);
// Without type, version and time.
nlohmann::ordered_json JsonOf(const Explanation& explanation);

}  // namespace tarn::host

#endif
