#include "host/commands/url_options.h"

#include <fmt/format.h>

#include "host/named_inputs.h"
#include "host/printable_text.h"
#include "host/standard_input.h"

namespace tarn::host {

bool UrlOptions::ParseServer(const Session& session, std::optional<IpAddress>& address) const {
    if (server.empty()) return true;
    address = ParseIpAddress(server);
    if (!address)
        session.Fail(fmt::format("--server {}: an address is wanted, such as 192.0.2.10", Printable(server)),
                     kExitUsage);
    return address.has_value();
}

void UrlOptions::ForEach(const Session& session, const std::function<bool(const std::string& url)>& take,
                         const std::function<void(const std::string& mistake)>& complain) const {
    StandardInput input(session.environment, session.out);
    ForEachText(urls, input, take, complain);
}

void AddUrlOptions(CommandOptions command, UrlOptions& options) {
    command
        .Add("URL", options.urls,
             "http:// and https:// addresses, without a scheme http:// is meant; - takes them from standard "
             "input and @FILE from a list, one a line")
        .Required();
    command.Add("--server", options.server, "The address that the hosts of the URLs stand for").Value("ADDRESS");
}

std::optional<ComposedRequest> ComposeRequestTo(const std::optional<IpAddress>& server, const std::string& url,
                                                const Environment& environment, std::string& mistake) {
    std::optional<ComposedRequest> request =
        ComposeRequest(url, mistake, [&](const std::string& host) { return environment.AsciiHost(host); });
    if (request && server && !request->isServerKnown) request->server.address = *server;
    return request;
}

}  // namespace tarn::host
