// Writes the first inputs of every target: FOLDER/target/number. Prints their names, and behind each its dictionary.
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <string>

#include "seeds.h"

int main(int count, char** arguments) {
    if (count != 2) {
        std::fputs("Usage: write_fuzz_seeds FOLDER\n", stderr);
        return 2;
    }
    for (const tarn::fuzz::Target& target : tarn::fuzz::AllTargets()) {
        const std::filesystem::path folder = std::filesystem::path(arguments[1]) / target.name;
        std::filesystem::create_directories(folder);
        std::size_t number = 0;
        for (const tarn::fuzz::ByteList& seed : tarn::fuzz::SeedsOf(target.name)) {
            std::ofstream file(folder / std::to_string(number++), std::ios::binary);
            file.write(reinterpret_cast<const char*>(seed.data()), static_cast<std::streamsize>(seed.size()));
            if (!file.flush()) {
                std::fprintf(stderr, "%s: cannot be written\n", folder.c_str());
                return 1;
            }
        }
        std::printf("%.*s %.*s\n", static_cast<int>(target.name.size()), target.name.data(),
                    static_cast<int>(target.dictionary.size()), target.dictionary.data());
    }
    return 0;
}
