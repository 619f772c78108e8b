// Places and texts of a policy file, for whoever changes some of it and leaves the rest as it is written.
#ifndef TARN_HOST_EXPLAIN_TOML_TEXT_H
#define TARN_HOST_EXPLAIN_TOML_TEXT_H

#include <string>
#include <string_view>
#include <toml++/toml.h>

namespace tarn::host {

// Where the byte of a line and column stands; columns count characters.
std::size_t OffsetOf(const std::string& text, const toml::source_position& position);

// A text between quotes.
std::string Quoted(std::string_view text);

}  // namespace tarn::host

#endif
