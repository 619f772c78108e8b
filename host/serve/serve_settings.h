// What tarnhost serve is told: the table [serve] of the policy, and the options that stand above it.
// Plain values; nothing changes them while it runs.
#ifndef TARN_HOST_SERVE_SERVE_SETTINGS_H
#define TARN_HOST_SERVE_SERVE_SETTINGS_H

#include <chrono>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "host/verdict_report.h"
#include "policy/serve_table.h"

namespace tarn::host::serve {

enum class DnsRefusal { kNxDomain, kZero, kBlockPage };

struct ServeSettings {
    std::optional<Endpoint> proxy;  // nothing = off, as for the others
    std::optional<Endpoint> socks;
    std::optional<Endpoint> dns;
    std::optional<Endpoint> status;
    std::vector<Endpoint> dnsUpstreams;
    DnsRefusal dnsRefusal = DnsRefusal::kNxDomain;
    std::optional<IpAddress> blockPageAddress;  // of kBlockPage
    std::optional<Endpoint> blockPage;          // where the page is, which answers at that address
    bool refusesUnknown = false;                // what cannot be judged
    std::chrono::seconds drain{10};             // how long connections may go on at the end
    std::chrono::seconds head{15};              // within which a head or hello has to be there
    std::chrono::seconds silence{3};            // after which a client counts as one that waits for the server
    std::chrono::seconds idle{300};             // after which a connection without traffic is closed
    std::chrono::seconds body{10};              // after which a client that sends no more of its body counts as idle
    std::chrono::milliseconds again{60000};     // after which open tunnels are judged again, because of times of day
    std::size_t connections = 5000;             // at once, of all listeners together
    std::string eventsFile;                     // empty = none
    std::uint64_t eventsBytes = std::uint64_t{16} * 1024 * 1024;
    std::size_t eventsFiles = 5;                   // the current one included
    std::map<std::string, IpAddress> hosts;        // names that are not asked for, in lower case
    std::vector<AddressReplacement> replacements;  // of servers, for the library
    std::size_t threads = 4;
};

// "192.0.2.1:8080" or "[2001:db8::1]:8080"; port is what counts without one, 0 = it is needed.
std::optional<Endpoint> ParseEndpoint(std::string_view text, std::uint16_t port = 0);
std::string FormatEndpoint(const Endpoint& endpoint);

// False with what is wrong and what is allowed. table: as ParsePolicy left it, with the options written over it.
bool ReadSettings(const policy::ServeTable& table, ServeSettings& settings, std::string& mistake);

}  // namespace tarn::host::serve

#endif
