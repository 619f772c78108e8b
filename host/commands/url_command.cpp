// tarnhost url: judges URLs as if a browser of this machine asked for them.
#include <fmt/format.h>
#include <memory>

#include "host/commands/command.h"
#include "host/composed_request.h"
#include "host/printable_text.h"

namespace tarn::host {

namespace {

int JudgeUrls(const std::vector<std::string>& urls, const Session& session) {
    std::vector<ComposedRequest> requests;
    for (const std::string& url : urls) {
        std::string mistake;
        std::optional<ComposedRequest> request = ComposeRequest(url, mistake);
        if (!request)
            return session.Fail(fmt::format("\"{}\" cannot be judged: {}", Printable(url), mistake), kExitUsage);
        requests.push_back(std::move(*request));
    }
    const std::unique_ptr<Judge> library = session.Library();
    if (!library) return kExitFailed;
    const std::unique_ptr<VerdictReport> report = session.Report();
    for (const ComposedRequest& request : requests) {
        JudgedRequest judged{request.protocol, request.view, request.server, std::nullopt, {}};
        judged.judgement = library->ScanUrl(request.protocol->kind, request.data, request.server);
        report->Request(judged);
    }
    report->Summary(std::nullopt);
    return kExitOk;
}

}  // namespace

RunCommand AddUrlCommand(CLI::App& command, Session& session) {
    const auto urls = std::make_shared<std::vector<std::string>>();
    command.add_option("URL", *urls, "http:// and https:// addresses; without a scheme http:// is meant")->required();
    command.footer(
        "For http:// the library judges the GET request that a browser would send, for https:// the TLS ClientHello, "
        "which has the host name only. Nothing is sent or resolved: the server of a name counts as a public address.");
    return [urls, &session] { return JudgeUrls(*urls, session); };
}

}  // namespace tarn::host
