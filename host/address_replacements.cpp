#include "host/address_replacements.h"

#include <algorithm>
#include <fmt/format.h>

#include "host/printable_text.h"

namespace tarn::host {

bool ParseReplacements(const std::vector<std::string>& texts, std::vector<AddressReplacement>& out,
                       std::string& mistake) {
    for (const std::string& text : texts) {
        const std::size_t equals = text.find('=');
        const auto from = ParseIpAddress(std::string_view(text).substr(0, equals));
        const auto to =
            equals == std::string::npos ? std::nullopt : ParseIpAddress(std::string_view(text).substr(equals + 1));
        if (!from || !to) {
            mistake = fmt::format(
                "--map {}: two addresses with \"=\" between them are wanted, such as "
                "10.20.30.10=192.0.2.10",
                Printable(text));
            return false;
        }
        const bool isTwice = std::any_of(out.begin(), out.end(), [&](const auto& one) { return one.from == *from; });
        if (isTwice) {
            mistake = fmt::format("--map {}: this address has been replaced by another --map already; keep one of them",
                                  Printable(text));
            return false;
        }
        out.push_back({*from, *to});
    }
    return true;
}

}  // namespace tarn::host
