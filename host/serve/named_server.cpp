#include "host/serve/named_server.h"

#include "host/composed_request.h"
#include "host/request_view.h"
#include "host/serve/bytes_of.h"
#include "host/serve/ftp_data.h"

namespace tarn::host::serve {

namespace {

Asked AskedOf(const NamedServer& server, const Protocol& protocol, base::Bytes data) {
    Asked asked;
    asked.protocol = &protocol;
    asked.data = data;
    asked.client = server.client;
    asked.server = server.First();
    asked.processId = server.processId;
    asked.isAgain = server.isAgain;
    asked.isAlsoAnAddress = ParseIpAddress(server.target.host).has_value();
    if (!server.endpoints.empty()) asked.alsoAt.assign(server.endpoints.begin() + 1, server.endpoints.end());
    return asked;
}

std::string HelloFor(std::string_view name) {
    const std::vector<std::uint8_t> hello = ComposeClientHello(name);
    return {hello.begin(), hello.end()};
}

}  // namespace

Answer JudgeHello(Filter& filter, const NamedServer& server, base::Bytes hello, bool isCut,
                  std::optional<Unread> unread) {
    Asked asked = AskedOf(server, TlsProtocol(), hello);
    asked.isCut = isCut;
    asked.unread = unread;
    const std::string said = ViewTlsHello(hello).host;
    const std::string_view name = WithoutOuterDots(said);
    constexpr std::size_t kMostName = 255;
    if (name.size() != said.size() && name.size() <= kMostName) asked.alsoAs.push_back(HelloFor(name));
    if (!IsSameName(said, server.target.host)) asked.alsoAs.push_back(HelloFor(WithoutOuterDots(server.target.host)));
    return filter.Judge(asked);
}

Answer JudgeRequest(Filter& filter, const NamedServer& server, const PlannedRequest& plan) {
    Asked asked = AskedOf(server, HttpProtocol(), BytesOf(plan.judgedHead.empty() ? plan.head : plan.judgedHead));
    asked.standIn = plan.standIn;
    asked.isStandInCut = plan.isStandInCut;
    if (!plan.standInByTarget.empty()) asked.alsoAs.push_back(plan.standInByTarget);
    return filter.Judge(asked);
}

Answer JudgeName(Filter& filter, const NamedServer& server, std::optional<Unread> unread) {
    const std::string head = ConnectHead(server.target);
    Asked asked = AskedOf(server, HttpProtocol(), BytesOf(head));
    asked.unread = unread;
    return filter.Judge(asked);
}

bool IsClosedToRequests(Filter& filter, const NamedServer& server) {
    constexpr std::string_view kCommands = "a server of FTP would take a request for commands, which are not judged";
    if (!IsFtpPort(server.target.port)) return false;
    JudgeName(filter, server, Unread{Unexamined::kUnknownProtocol, kCommands});
    return true;
}

std::function<bool()> HelloAgain(Filter& filter, NamedServer server, std::vector<std::uint8_t> hello, bool isCut) {
    server.isAgain = true;
    return [&filter, server = std::move(server), hello = std::move(hello), isCut] {
        return JudgeHello(filter, server, hello, isCut).isBlocked;
    };
}

std::function<bool()> RequestAgain(Filter& filter, NamedServer server, PlannedRequest plan) {
    server.isAgain = true;
    return [&filter, server = std::move(server), plan = std::move(plan)] {
        return JudgeRequest(filter, server, plan).isBlocked;
    };
}

std::function<bool()> NameAgain(Filter& filter, NamedServer server) {
    server.isAgain = true;
    return [&filter, server = std::move(server)] { return JudgeName(filter, server).isBlocked; };
}

}  // namespace tarn::host::serve
