// What is shown when nothing can be sent on: short, without script, in the language of the reader.
#ifndef TARN_HOST_SERVE_PLAIN_PAGE_H
#define TARN_HOST_SERVE_PLAIN_PAGE_H

#include <string>
#include <string_view>

#include "host/serve/pages/page_texts.h"

namespace tarn::host::serve {

// text: what happened to this request in particular, in English.
std::string PlainPage(unsigned status, std::string_view text, Language language);

}  // namespace tarn::host::serve

#endif
