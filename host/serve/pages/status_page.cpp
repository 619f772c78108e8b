#include "host/serve/pages/status_page.h"

#include <fmt/format.h>
#include <nlohmann/json.hpp>
#include <string>
#include <utility>
#include <vector>

#include "tarn/records.h"

#include "host/report/html_text.h"
#include "host/report/report_page.h"
#include "host/serve/pages/page_files.h"
#include "host/serve/pages/page_texts.h"

namespace tarn::host::serve {

namespace {

constexpr std::uint32_t kBlockingReasons[] = {
    TARN_REASON_PHISHING,      TARN_REASON_MALICIOUS_CATEGORY, TARN_REASON_MALICIOUS,        TARN_REASON_SCHEDULE,
    TARN_REASON_PARENTAL_SITE, TARN_REASON_PARENTAL_CATEGORY,  TARN_REASON_HTTPS_INSPECTION, TARN_REASON_IDS_BLOCKED,
};

std::string SecurityPolicy() {
    return fmt::format(
        "default-src 'none'; style-src '{}'; script-src '{}'; connect-src 'self'; img-src data:; base-uri 'none'; "
        "form-action 'none'; frame-ancestors 'none'",
        report::ScriptHash(kStatusStyle.sha256), report::ScriptHash(kStatusScript.sha256));
}

}  // namespace

PageResponse StatusPageResponse(std::string_view acceptLanguage) {
    const Language language = ChooseLanguage(acceptLanguage);
    nlohmann::json texts;
    std::vector<std::pair<std::string_view, std::string>> parts{
        {"lang", std::string(kLanguages.at(language))}, {"style", kStatusStyle.text}, {"script", kStatusScript.text}};
    for (const PageText& text : PageTexts()) {
        if (!text.key.starts_with("status.")) continue;
        texts[std::string(text.key)] = text.texts.at(language);
        parts.emplace_back(text.key, report::Html(text.texts.at(language)));
    }
    for (const std::uint32_t reason : kBlockingReasons)
        texts[fmt::format("reason.{}", reason)] = SayReason(reason, language).name;
    parts.emplace_back("texts", report::ScriptJson(texts));
    PageResponse response =
        MakeResponse(200, "text/html; charset=utf-8", report::FillTemplate(kStatusTemplate.text, parts));
    response.fields.emplace_back("Content-Language", kLanguages.at(language));
    response.fields.emplace_back("Content-Security-Policy", SecurityPolicy());
    response.fields.emplace_back("Cross-Origin-Opener-Policy", "same-origin");
    return response;
}

}  // namespace tarn::host::serve
