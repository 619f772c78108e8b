// isolate.dll, the quarantine module: writes down what would be quarantined. Nothing is moved or deleted.
#include <cstring>
#include <fmt/format.h>
#include <string>

#include "tarn/companions.h"

#include "state_files_win32.h"

namespace {

// ASCII as it is, everything else as its code.
std::string Printable(const char16_t* text) {
    std::string out;
    for (; text != nullptr && *text != u'\0'; ++text) {
        if (*text >= 0x20 && *text < 0x7F)
            out.push_back(static_cast<char>(*text));
        else
            out += fmt::format("\\u{:04x}", static_cast<unsigned>(*text));
    }
    return out;
}

}  // namespace

extern "C" std::uint8_t TARN_CALL ZRQuarantineFile(const char16_t* path, std::uint64_t,
                                                   const QuarantineRequest* request, std::uint64_t, std::uint64_t,
                                                   std::uint64_t, std::uint64_t* out1, std::uint32_t* out2) {
    if (path == nullptr || request == nullptr) return 0;
    if (out1 != nullptr) *out1 = 0;
    if (out2 != nullptr) *out2 = 0;
    try {
        char16_t reason[100];
        std::memcpy(reason, request->reason, sizeof reason);
        reason[99] = u'\0';
        const std::string line =
            fmt::format("would quarantine {}: {} ({})", Printable(path), Printable(reason), Printable(request->url));
        return tarn::policy::AppendStateLine(u"tarn-quarantine.log", line) ? 1 : 0;
    } catch (...) {
        return 0;
    }
}
