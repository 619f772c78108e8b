// The table [serve] of a policy: what the host's server goes by. The companion modules only check its form.
// Plain values that own their texts.
#ifndef TARN_COMPANIONS_POLICY_SERVE_TABLE_H
#define TARN_COMPANIONS_POLICY_SERVE_TABLE_H

#include <cstdint>
#include <string>
#include <vector>

namespace tarn::policy {

struct ServeTable {
    std::string proxy = "127.0.0.1:8080";  // address and port, or "off"
    std::string socks = "127.0.0.1:1080";
    std::string dns = "127.0.0.1:5353";  // only with dnsUpstream
    std::string status = "127.0.0.1:8081";
    std::vector<std::string> dnsUpstream;
    std::string dnsRefused = "nxdomain";  // or "zero", "block_page"
    std::string blockPageAddress;
    std::string unknown = "pass";  // or "refuse"
    std::uint32_t drainSeconds = 10;
    std::uint32_t headSeconds = 15;
    std::uint32_t silenceSeconds = 3;
    std::uint32_t idleSeconds = 300;
    std::uint32_t connections = 5000;
    std::string events;  // a file; empty = none
    std::uint32_t eventsMegabytes = 16;
    std::uint32_t eventsFiles = 5;
    std::vector<std::string> hosts;  // "NAME=ADDRESS"
};

}  // namespace tarn::policy

#endif
