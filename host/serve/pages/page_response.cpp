#include "host/serve/pages/page_response.h"

namespace tarn::host::serve {

PageResponse MakeResponse(int status, std::string_view contentType, std::string body) {
    PageResponse response;
    response.status = status;
    response.fields = {{"Content-Type", std::string(contentType)},
                       {"Cache-Control", "no-store"},
                       {"X-Content-Type-Options", "nosniff"},
                       {"Referrer-Policy", "no-referrer"}};
    response.body = std::move(body);
    return response;
}

}  // namespace tarn::host::serve
