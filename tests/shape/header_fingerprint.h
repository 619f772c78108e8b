// A fingerprint of the public headers: changes with every declaration, not with a comment or a line break.
// The test compares it with the committed one, which `./dev fingerprint` writes.
#ifndef TARN_TESTS_SHAPE_HEADER_FINGERPRINT_H
#define TARN_TESTS_SHAPE_HEADER_FINGERPRINT_H

#include <filesystem>
#include <string>
#include <string_view>

namespace tarn::shape {

// The text without comments, every run of white space one blank.
std::string NormalisedSource(std::string_view text);

// One line per header of the folder, ascending by name: CRC-32 of the normalised text in hexadecimal, blank, name.
std::string FingerprintOf(const std::filesystem::path& folder);

}  // namespace tarn::shape

#endif
