#include "support/project_files.h"

namespace tarn {

std::string ProjectFile(std::string_view name) {
    return std::string(TARN_SOURCE_FOLDER "/").append(name);
}

}  // namespace tarn
