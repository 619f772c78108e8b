// Between the UTF-16 of the system and the UTF-8 of the commands.
#ifndef TARN_HOST_UTF8_WIN32_H
#define TARN_HOST_UTF8_WIN32_H

#include <string>
#include <string_view>

namespace tarn::host {

std::string FromWide(std::wstring_view text);
std::wstring ToWide(std::string_view text);

}  // namespace tarn::host

#endif
