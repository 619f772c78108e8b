// What the two sides cannot know of each other: the process, its user and the system it runs on.
#ifndef TARN_TESTS_MODEL_DRIVER_FACTS_WIN32_H
#define TARN_TESTS_MODEL_DRIVER_FACTS_WIN32_H

#include <string>

namespace tarn::model {

// NAME=VALUE, joined by blanks; texts in hex.
std::string Facts();

}  // namespace tarn::model

#endif
