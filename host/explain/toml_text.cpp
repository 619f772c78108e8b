#include "host/explain/toml_text.h"

#include <fmt/format.h>

namespace tarn::host {

std::size_t OffsetOf(const std::string& text, const toml::source_position& position) {
    std::size_t at = text.starts_with("\xEF\xBB\xBF") ? 3 : 0;
    for (toml::source_index line = 1; line < position.line; ++line) {
        at = text.find('\n', at);
        if (at == std::string::npos) return text.size();
        ++at;
    }
    const auto isContinued = [&] { return at < text.size() && (static_cast<unsigned char>(text[at]) & 0xC0) == 0x80; };
    for (toml::source_index column = 1; column < position.column && at < text.size(); ++column) {
        ++at;
        while (isContinued()) ++at;
    }
    return at;
}

std::string Quoted(std::string_view text) {
    std::string quoted = "\"";
    for (const char c : text) {
        const auto byte = static_cast<unsigned char>(c);
        if (c == '"' || c == '\\')
            quoted.append({'\\', c});
        else if (byte < 0x20 || byte == 0x7F)
            quoted += fmt::format("\\u{:04X}", byte);
        else
            quoted += c;
    }
    return quoted + '"';
}

}  // namespace tarn::host
