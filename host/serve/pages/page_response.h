// What a page asks of the HTTP server that delivers it: a status, fields and a body.
#ifndef TARN_HOST_SERVE_PAGES_PAGE_RESPONSE_H
#define TARN_HOST_SERVE_PAGES_PAGE_RESPONSE_H

#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace tarn::host::serve {

struct PageResponse {
    int status = 200;
    std::vector<std::pair<std::string, std::string>> fields;  // without Content-Length, Date and Connection
    std::string body;
    bool isEventStream = false;  // the body only begins it: what a StatusReader takes follows until somebody closes

    // Empty when there is none of that name, which is told as it is written here.
    [[nodiscard]] std::string_view Field(std::string_view name) const {
        for (const auto& [key, value] : fields)
            if (key == name) return value;
        return {};
    }
};

// With the fields that keep a browser from doing more with a body than it is meant for.
PageResponse MakeResponse(int status, std::string_view contentType, std::string body);

}  // namespace tarn::host::serve

#endif
