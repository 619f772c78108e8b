// The status page: one HTML document that shows what /api/state, /api/events and /api/explain of the same server tell.
#ifndef TARN_HOST_SERVE_PAGES_STATUS_PAGE_H
#define TARN_HOST_SERVE_PAGES_STATUS_PAGE_H

#include <string_view>

#include "host/serve/pages/page_response.h"

namespace tarn::host::serve {

PageResponse StatusPageResponse(std::string_view acceptLanguage);

}  // namespace tarn::host::serve

#endif
