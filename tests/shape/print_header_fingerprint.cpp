#include <cstdio>

#include "shape/header_fingerprint.h"

int main() {
    const std::filesystem::path root = TARN_SOURCE_FOLDER;
    std::fputs(tarn::shape::FingerprintOf(root / "include/tarn").c_str(), stdout);
}
