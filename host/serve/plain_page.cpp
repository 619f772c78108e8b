#include "host/serve/plain_page.h"

#include <fmt/format.h>

#include "host/printable_text.h"
#include "host/report/html_text.h"

namespace tarn::host::serve {

namespace {

std::string Said(unsigned status, const char* what, Language language) {
    const std::string_view text = Say(fmt::format("error.{}.{}", status, what), language);
    return report::Html(std::string(text.empty() ? Say(fmt::format("error.other.{}", what), language) : text));
}

}  // namespace

std::string PlainPage(unsigned status, std::string_view text, Language language) {
    return fmt::format(
        "<!DOCTYPE html>\n<html lang=\"{lang}\"><head><meta charset=\"utf-8\"><title>{title}</title>"
        "<meta name=\"viewport\" content=\"width=device-width\"></head>\n<body><main><h1>{title}</h1>\n"
        "<p>{next}</p>\n<p>{details} ({status}): <span lang=\"en\">{text}</span></p>\n</main>\n"
        "<footer><p>{footer}</p></footer></body></html>\n",
        fmt::arg("lang", kLanguages.at(language)), fmt::arg("title", Said(status, "title", language)),
        fmt::arg("next", Said(status, "next", language)), fmt::arg("details", Say("blocked.details", language)),
        fmt::arg("status", status), fmt::arg("text", report::Html(Printable(text))),
        fmt::arg("footer", Say("blocked.footer", language)));
}

}  // namespace tarn::host::serve
