#include "host/serve/status_pages.h"

#include "host/serve/client_process.h"
#include "host/serve/connection.h"

namespace tarn::host::serve {

namespace {

// A listener of every address is reached by programs of this machine at its own.
Endpoint AsReachedHere(const Endpoint& listener) {
    if (!AddressOfEndpoint(listener).is_unspecified()) return listener;
    return {*ParseIpAddress(listener.address.isIpv6 ? "::1" : "127.0.0.1"), listener.port};
}

PageAddresses AddressesOf(const ServeSettings& settings) {
    PageAddresses addresses;
    if (settings.status) addresses.own = OwnNames(FormatIpAddress(settings.status->address), settings.status->port);
    if (settings.proxy) addresses.proxy = FormatEndpoint(AsReachedHere(*settings.proxy));
    return addresses;
}

Event CountersOf(const Filter& filter, const ConnectionSet& connections, const ClientProcesses& processes) {
    const Counters counters = filter.Snapshot();
    const ProcessCounters clients = processes.Snapshot();
    return {{"connections", connections.Count()},
            {"unknown_clients", clients.unknown + clients.remote},
            {"turned_away", connections.Refused() + connections.GivenBack()},
            {"internal_errors", counters.internalErrors}};
}

}  // namespace

BlockedPage BlockedPageFor(const Answer& answer, const TarnSystemTime& now) {
    BlockedPage page =
        BlockedPageOf(answer.url.empty() ? answer.host : answer.url, answer.judgement, answer.entry, now);
    // Also what the library allows or knows nothing of may be refused, for what it could not look into.
    page.isJudged = answer.judgement.isValid && IsBlocked(answer.judgement);
    page.details = answer.whyRefused;
    TellWhenAllowed(page, answer.minutesUntilAllowed);
    return page;
}

std::string BlockPageFor(const Answer& answer, const TarnSystemTime& now, std::string_view acceptLanguage) {
    return BlockPageHtml(BlockedPageFor(answer, now), ChooseLanguage(acceptLanguage));
}

StatusPages::StatusPages(EventHub& hub, Filter& filter, const ConnectionSet& connections,
                         const ClientProcesses& processes, const ServeSettings& settings)
    : server_(feed_,
              {[&filter, &connections, &processes] { return CountersOf(filter, connections, processes); },
               [&filter](const std::string& url) { return filter.Explain(url); }},
              AddressesOf(settings)),
      subscription_(hub.SubscribeEvents([this](const SharedEvent& event) { feed_.Add(event); })) {}

}  // namespace tarn::host::serve
