#include "host/serve/ftp_site.h"

#include <algorithm>

#include "host/serve/ftp_data.h"

namespace tarn::host::serve {

namespace {

// "user@host", "user@host:port", "user@host port", "user@other@host" and "host|user".
std::vector<std::string_view> HostsInLogin(std::string_view login) {
    std::vector<std::string_view> hosts;
    const std::string_view first = login.substr(0, login.find_first_of("@|"));
    if (!first.empty() && login.substr(first.size()).starts_with('|')) hosts.push_back(first);
    for (std::size_t at = login.find('@'); at != std::string_view::npos; at = login.find('@')) {
        login.remove_prefix(at + 1);
        login.remove_prefix(std::min(login.find_first_not_of(' '), login.size()));
        const std::string_view host = login.substr(0, login.find_first_of("@| "));
        if (!host.empty()) hosts.push_back(host);
    }
    return hosts;
}

std::vector<std::string_view> HostsIn(const FtpCommand& command) {
    const std::string_view argument = command.argument;
    if (command.verb == "HOST") return {argument};
    if (command.verb == "USER") return HostsInLogin(argument);
    if (command.verb != "SITE" && command.verb != "OPEN") return {};
    // Some servers are told in this way where to go on; most know other words behind SITE.
    const std::string_view word = argument.substr(0, argument.find(' '));
    if (word.find('@') != std::string_view::npos) return HostsInLogin(argument);
    if (command.verb == "OPEN" || word.find_first_of(".:") != std::string_view::npos) return {word};
    return {};
}

}  // namespace

std::optional<std::vector<Target>> SitesOf(const FtpCommand& command) {
    std::vector<Target> sites;
    for (const std::string_view host : HostsIn(command)) {
        auto site = ParseTarget(host, kFtpPort);
        if (!site) return std::nullopt;
        sites.push_back(std::move(*site));
    }
    return sites;
}

}  // namespace tarn::host::serve
