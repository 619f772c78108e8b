#include "policy/serve_reader.h"

#include <algorithm>
#include <charconv>
#include <fmt/format.h>
#include <fmt/ranges.h>
#include <initializer_list>

#include "policy/values.h"

namespace tarn::policy {
namespace {

constexpr TextBound kAddress{64};
constexpr TextBound kWord{32};
constexpr TextBound kFile{1024, true};
constexpr TextBound kNamed{320};
constexpr const char* kUpstreamForm = "an address, such as 192.0.2.53, with or without a port: 192.0.2.53:53";

bool IsAddress(std::string_view text) {
    IpAddressRecord address{};
    return AddressOfText(text, address);
}

void ReadListener(Section& section, std::string_view key, std::string& out) {
    section.Read(key, out, kAddress);
    if (const toml::node* node = section.Find(key); node != nullptr && out != "off" && !IsAddressWithPort(out))
        section.Complain(*node, fmt::format("serve.{} is \"{}\"; allowed: an address and a port, such as "
                                            "127.0.0.1:8080, or off",
                                            key, out));
}

void ReadWord(Section& section, std::string_view key, std::string& out,
              std::initializer_list<std::string_view> allowed) {
    section.Read(key, out, kWord);
    if (std::find(allowed.begin(), allowed.end(), out) == allowed.end())
        section.Complain(*section.Find(key),
                         fmt::format("serve.{} is \"{}\"; allowed: {}", key, out, fmt::join(allowed, ", ")));
}

template <class IsGood>
void ReadTexts(Section& section, std::string_view key, std::string_view wanted, std::vector<std::string>& out,
               TextBound bound, std::string_view form, IsGood isGood) {
    section.ReadArray(key, wanted, [&](const toml::node& item) {
        std::string text;
        if (!section.CheckText(key, item, text, bound)) return;
        if (!isGood(text)) section.Complain(item, fmt::format("serve.{} holds \"{}\"; allowed: {}", key, text, form));
        out.push_back(std::move(text));
    });
}

}  // namespace

bool IsAddressWithPort(std::string_view text) {
    const std::size_t colon = text.rfind(':');
    if (colon == std::string_view::npos) return false;
    std::string_view address = text.substr(0, colon);
    const bool isBracketed = address.starts_with('[') && address.ends_with(']');
    if (isBracketed != (address.find(':') != std::string_view::npos)) return false;
    if (isBracketed) address = address.substr(1, address.size() - 2);
    const char* const end = text.data() + text.size();
    std::uint16_t port = 0;
    const auto [rest, error] = std::from_chars(text.data() + colon + 1, end, port);
    return error == std::errc{} && rest == end && port != 0 && IsAddress(address);
}

bool IsNamedAddress(std::string_view text) {
    const std::size_t sign = text.find('=');
    return sign != 0 && sign != std::string_view::npos && sign < 256 && IsAddress(text.substr(sign + 1)) &&
           text.substr(0, sign).find_first_of("/:? ") == std::string_view::npos;
}

void ReadServe(Section& section, ServeTable& serve) {
    ReadListener(section, "proxy", serve.proxy);
    ReadListener(section, "socks", serve.socks);
    ReadListener(section, "dns", serve.dns);
    ReadListener(section, "status", serve.status);
    ReadTexts(section, "dns_upstream", "an array of addresses", serve.dnsUpstream, kAddress, kUpstreamForm,
              [](const std::string& text) { return IsAddress(text) || IsAddressWithPort(text); });
    ReadWord(section, "dns_refused", serve.dnsRefused, {"nxdomain", "zero", "block_page"});
    section.Read("block_page_address", serve.blockPageAddress, {64, true});
    if (!serve.blockPageAddress.empty() && !IsAddress(serve.blockPageAddress) &&
        !IsAddressWithPort(serve.blockPageAddress))
        section.Complain(
            *section.Find("block_page_address"),
            fmt::format("serve.block_page_address is \"{}\"; allowed: an address, such as 192.0.2.7, with or "
                        "without a port: 192.0.2.7:80",
                        serve.blockPageAddress));
    ReadWord(section, "unknown", serve.unknown, {"pass", "refuse"});
    section.Read("drain_seconds", serve.drainSeconds, 0, 600);
    section.Read("head_seconds", serve.headSeconds, 1, 600);
    section.Read("silence_seconds", serve.silenceSeconds, 1, 60);
    section.Read("idle_seconds", serve.idleSeconds, 1, 86400);
    section.Read("connections", serve.connections, 1, 100000);
    section.Read("events", serve.events, kFile);
    section.Read("events_megabytes", serve.eventsMegabytes, 1, 1024);
    section.Read("events_files", serve.eventsFiles, 1, 100);
    ReadTexts(section, "hosts", "an array of texts", serve.hosts, kNamed,
              "a name and an address, such as nas.example=192.0.2.9", IsNamedAddress);
}

}  // namespace tarn::policy
