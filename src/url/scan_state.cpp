#include "url/scan_state.h"

#include "base/bounded_text.h"

namespace tarn::url {

void WriteUserName(UrlVerdict& verdict, const machine::ProcessUser& user) {
    base::StoreField<sizeof verdict.userName / sizeof(char16_t)>(verdict.userName, base::FieldText(user.name));
}

void WriteUrl(UrlVerdict& verdict, std::string_view url) {
    base::CopyText(verdict.text.url, sizeof verdict.text.url, url);
}

void WriteThreatName(UrlVerdict& verdict, std::string_view name) {
    base::CopyText(verdict.text.threat.name, sizeof verdict.text.threat.name, name);
}

void WriteThreatUrl(UrlVerdict& verdict, std::string_view url) {
    base::CopyText(verdict.text.threat.url, sizeof verdict.text.threat.url, url);
}

}  // namespace tarn::url
