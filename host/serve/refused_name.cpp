#include "host/serve/refused_name.h"

#include "host/ports.h"
#include "host/serve/http_head.h"
#include "host/serve/named_server.h"
#include "host/serve/status_pages.h"

namespace tarn::host::serve {

namespace {

PageResponse Text(int status, std::string_view text) {
    return MakeResponse(status, "text/plain; charset=utf-8", std::string(text) + '\n');
}

}  // namespace

PageResponse AnswerRefusedName(Filter& filter, const PageRequest& request, const Endpoint& client,
                               std::uint32_t processId) {
    const auto target = ParseTarget(request.host, kHttpPort);
    if (!target || !request.target.starts_with('/'))
        return Text(400, "This address answers for names that the filter refuses; the request names none.");
    RequestHead head;
    head.version(11);
    head.method_string({request.method.data(), request.method.size()});
    head.target({request.target.data(), request.target.size()});
    head.set(http::field::host, {request.host.data(), request.host.size()});
    const PlannedRequest plan = PlanRequest(head, target, false);
    if (!plan.mistake.empty()) return Text(400, "This is no request for a page.");
    const Answer answer = JudgeRequest(filter, {*target, {}, client, processId}, plan);
    if (answer.isBlocked) return BlockPageResponse(BlockedPageFor(answer, filter.LocalTime()), request.acceptLanguage);
    return Text(404,
                "The filter refused this name a moment ago, but does not block this address. Wait a few seconds and "
                "open it again.");
}

}  // namespace tarn::host::serve
