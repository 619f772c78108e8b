#include "host/serve/serve_settings.h"

#include <charconv>
#include <fmt/format.h>

#include "base/text.h"
#include "host/ports.h"
#include "host/serve/connection.h"
#include "policy/serve_reader.h"
#include "policy/values.h"

namespace tarn::host::serve {

namespace {

constexpr std::uint64_t kMegabyte = std::uint64_t{1024} * 1024;

bool ReadListener(const char* key, const std::string& text, std::optional<Endpoint>& listener, std::string& mistake) {
    listener.reset();
    if (text == "off") return true;
    listener = ParseEndpoint(text);
    if (!listener)
        mistake = fmt::format("serve.{} is \"{}\"; allowed: an address and a port, such as 127.0.0.1:8080, or off", key,
                              text);
    return listener.has_value();
}

// What everybody visits stands there, for the people at this machine alone.
bool ReadStatus(const policy::ServeTable& table, ServeSettings& settings, std::string& mistake) {
    if (!ReadListener("status", table.status, settings.status, mistake)) return false;
    if (!settings.status || AddressOfEndpoint(*settings.status).is_loopback()) return true;
    mistake = fmt::format(
        "serve.status is \"{}\", which others could read; allowed: an address of this machine alone, such as "
        "127.0.0.1:8081 or [::1]:8081, or off. Others get proxy.pac at the proxy's own address",
        table.status);
    return false;
}

bool ReadUpstreams(const policy::ServeTable& table, ServeSettings& settings, std::string& mistake) {
    settings.dnsUpstreams.clear();
    for (const std::string& text : table.dnsUpstream) {
        const auto upstream = ParseEndpoint(text, kDnsPort);
        if (!upstream) {
            mistake = fmt::format(
                "serve.dns_upstream holds \"{}\"; allowed: an address, such as 192.0.2.53, with or "
                "without a port: 192.0.2.53:53",
                text);
            return false;
        }
        settings.dnsUpstreams.push_back(*upstream);
    }
    if (settings.dnsUpstreams.empty()) settings.dns.reset();
    return true;
}

bool ReadDnsRefusal(const policy::ServeTable& table, ServeSettings& settings, std::string& mistake) {
    settings.blockPageAddress.reset();
    settings.blockPage.reset();
    if (table.dnsRefused == "nxdomain") {
        settings.dnsRefusal = DnsRefusal::kNxDomain;
    } else if (table.dnsRefused == "zero") {
        settings.dnsRefusal = DnsRefusal::kZero;
    } else if (table.dnsRefused == "block_page") {
        settings.dnsRefusal = DnsRefusal::kBlockPage;
        const auto page = ParseEndpoint(table.blockPageAddress, kHttpPort);
        if (!page)
            mistake =
                "serve.dns_refused is \"block_page\", which needs block_page_address: the address of this machine "
                "that answers with the page, such as 192.0.2.7";
        else
            settings.blockPageAddress = page->address;
        if (settings.dns) settings.blockPage = page;
    } else {
        mistake = fmt::format("serve.dns_refused is \"{}\"; allowed: nxdomain, zero, block_page", table.dnsRefused);
    }
    return mistake.empty();
}

bool ReadHosts(const policy::ServeTable& table, ServeSettings& settings, std::string& mistake) {
    settings.hosts.clear();
    for (const std::string& text : table.hosts) {
        const std::size_t sign = text.find('=');
        const auto address =
            policy::IsNamedAddress(text) ? ParseIpAddress(std::string_view(text).substr(sign + 1)) : std::nullopt;
        if (!address) {
            mistake = fmt::format(
                "serve.hosts holds \"{}\"; allowed: a name and an address, such as nas.example=192.0.2.9", text);
            return false;
        }
        settings.hosts[policy::LowerCase(text.substr(0, sign))] = *address;
    }
    return true;
}

}  // namespace

std::optional<Endpoint> ParseEndpoint(std::string_view text, std::uint16_t port) {
    if (port != 0)
        if (const auto address = ParseIpAddress(text)) return Endpoint{*address, port};
    const std::size_t colon = text.rfind(':');
    if (colon == std::string_view::npos) return std::nullopt;
    std::string_view host = text.substr(0, colon);
    const bool isBracketed = host.size() > 2 && host.front() == '[' && host.back() == ']';
    if (isBracketed) host = host.substr(1, host.size() - 2);
    const auto address = ParseIpAddress(host);
    std::uint16_t number = 0;
    const char* const end = text.data() + text.size();
    const auto [rest, error] = std::from_chars(text.data() + colon + 1, end, number);
    if (!address || address->isIpv6 != isBracketed || error != std::errc{} || rest != end) return std::nullopt;
    return Endpoint{*address, number};
}

std::string FormatEndpoint(const Endpoint& endpoint) {
    const std::string address = FormatIpAddress(endpoint.address);
    return endpoint.address.isIpv6 ? fmt::format("[{}]:{}", address, endpoint.port)
                                   : fmt::format("{}:{}", address, endpoint.port);
}

bool ReadSettings(const policy::ServeTable& table, ServeSettings& settings, std::string& mistake) {
    if (!ReadListener("proxy", table.proxy, settings.proxy, mistake) ||
        !ReadListener("socks", table.socks, settings.socks, mistake) ||
        !ReadListener("dns", table.dns, settings.dns, mistake) || !ReadStatus(table, settings, mistake) ||
        !ReadUpstreams(table, settings, mistake) || !ReadDnsRefusal(table, settings, mistake) ||
        !ReadHosts(table, settings, mistake))
        return false;
    if (table.unknown != "pass" && table.unknown != "refuse") {
        mistake = fmt::format("serve.unknown is \"{}\"; allowed: pass, refuse", table.unknown);
        return false;
    }
    settings.refusesUnknown = table.unknown == "refuse";
    settings.drain = std::chrono::seconds(table.drainSeconds);
    settings.head = std::chrono::seconds(table.headSeconds);
    settings.silence = std::chrono::seconds(table.silenceSeconds);
    settings.idle = std::chrono::seconds(table.idleSeconds);
    settings.connections = table.connections;
    settings.eventsFile = table.events;
    settings.eventsBytes = table.eventsMegabytes * kMegabyte;
    settings.eventsFiles = table.eventsFiles;
    return true;
}

}  // namespace tarn::host::serve
