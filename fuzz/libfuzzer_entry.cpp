// Hands libFuzzer's inputs to the target that --target=NAME names.
#include <cstdio>
#include <cstdlib>
#include <string_view>

#include "target.h"

namespace {

const tarn::fuzz::Target* chosen = nullptr;

}  // namespace

extern "C" int LLVMFuzzerInitialize(int* argumentCount, char*** arguments) {
    constexpr std::string_view kOption = "--target=";  // libFuzzer passes over what begins with two dashes
    for (int i = 1; i < *argumentCount; ++i)
        if (const std::string_view argument = (*arguments)[i]; argument.starts_with(kOption))
            chosen = tarn::fuzz::FindTarget(argument.substr(kOption.size()));
    if (chosen != nullptr) return 0;
    std::fputs("--target=NAME is needed, one of:\n", stderr);
    for (const tarn::fuzz::Target& target : tarn::fuzz::AllTargets())
        std::fprintf(stderr, "  %.*s\n", static_cast<int>(target.name.size()), target.name.data());
    std::exit(2);
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    tarn::fuzz::RunTarget(*chosen, {data, size});
    return 0;
}
