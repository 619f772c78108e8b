// Short texts: addresses, blocked addresses, the browsers of the exclusion list.
#include <algorithm>
#include <cstring>
#include <string>

#include "base/text.h"
#include "host/capture/ip_address.h"
#include "network/ids_blocked_list.h"
#include "network/ip_address.h"
#include "targets.h"
#include "url/browsing_protection.h"

namespace tarn::fuzz {
namespace {

host::IpAddress AsHostAddress(const IpAddressRecord& record) {
    host::IpAddress address;
    address.isIpv6 = record.family != TARN_FAMILY_IPV4;
    std::copy_n(record.bytes, address.isIpv6 ? 16 : 4, address.bytes.begin());
    return address;
}

void RequireRoundTrip(const IpAddressRecord& address) {
    const network::AddressText text = network::FormatIpAddress(address);
    IpAddressRecord back{};
    const bool isBroadcast = text.View() == "255.255.255.255";
    Require(network::ParseIpLiteral(text.View(), back) == !isBroadcast, "an address's text is a literal");
    Require(isBroadcast || network::CompareIPAddress(address, back), "an address's text is that address");
    const auto ofHost = host::ParseIpAddress(text.View());
    Require(ofHost && *ofHost == AsHostAddress(address), "the host tool reads the same address");
    Require(host::ParseIpAddress(host::FormatIpAddress(*ofHost)) == ofHost, "the host tool's text is that address");
    if (address.family == TARN_FAMILY_IPV4) return;
    char groups[network::kIpv6GroupsLength + 1];
    Require(network::FormatIpv6Groups(address.bytes, groups, sizeof groups), "the long form fits");
    Require(network::ParseIpLiteral(groups, back) && network::CompareIPAddress(address, back),
            "the long form is that address");
}

}  // namespace

void AddressLiteral(Bytes input) {
    const std::string_view text = AsText(input);
    IpAddressRecord address;
    std::memset(&address, 0, sizeof address);
    const bool isLiteral = network::ParseIpLiteral(text, address);
    if (isLiteral) {
        Require(address.family <= TARN_FAMILY_IPV6, "the family is known");
        RequireRoundTrip(address);
    } else {
        IpAddressRecord untouched{};
        Require(std::memcmp(&address, &untouched, sizeof address) == 0, "what is no literal writes nothing");
    }
    // The host tool takes the strict forms only.
    if (const auto strict = host::ParseIpAddress(text)) {
        Require(isLiteral || text == "255.255.255.255", "a strict literal is a literal");
        Require(!isLiteral || AsHostAddress(address) == *strict, "both tools read the same address");
    }
}

// A length byte, the host, the request text.
void IdsBlocked(Bytes input) {
    Pieces pieces(input);
    IdsBlockRequest request{};
    std::memset(&request, 'x', sizeof request.reserved);
    const Bytes hostName = pieces.Take(std::min<std::size_t>(pieces.Number(), sizeof request.hostName));
    const Bytes text = pieces.Take(sizeof request.requestText);
    std::memcpy(request.hostName, hostName.data(), hostName.size());
    std::memcpy(request.requestText, text.data(), text.size());
    const std::string_view host = AsText(hostName).substr(0, AsText(hostName).find('\0'));

    network::IdsBlockedList list;
    list.Add(request);
    Require(list.Size() <= (host.empty() ? 0U : 1U), "a request adds at most one address");
    const std::size_t size = list.Size();
    list.Add(request);
    Require(list.Size() == size, "an address is there once");
    const std::string upper = [&] {
        std::string copy(host);
        for (char& c : copy)
            if (c >= 'a' && c <= 'z') c = static_cast<char>(c - ('a' - 'A'));
        return copy;
    }();
    for (const std::string_view path : {std::string_view("/"), AsText(text), AsText(pieces.Rest())})
        Require(list.Contains(host, path) == list.Contains(upper, path), "letter case does not count");
    list.Clear();
    Require(!list.Contains(host, "/"), "an emptied list holds nothing");
}

void BrowserExclusions(Bytes input) {
    Pieces pieces(input);
    const std::uint32_t count = pieces.Byte();
    std::u16string names;
    while (!pieces.AtEnd()) names += static_cast<char16_t>(pieces.Number());
    const ExactBlock block({reinterpret_cast<const std::uint8_t*>(names.data()), names.size() * sizeof(char16_t)});
    const std::u16string_view exact(reinterpret_cast<const char16_t*>(block.View().data()), names.size());

    const url::BrowserExclusions exclusions = url::ParseBrowserExclusions(exact, count);
    Require(exclusions.size() <= count, "no more names than counted");
    std::size_t at = 0;
    std::u16string lower = names;
    base::LowerAscii(lower.data(), lower.size());
    for (const std::u16string& name : exclusions) {
        Require(!name.empty() && name.size() < url::kExclusionNameCapacity, "a name has 1 to 49 units");
        Require(name.find(u'|') == std::u16string::npos, "the names are split");
        at = lower.find(name, at);
        Require(at != std::u16string::npos, "the names stand in the text, in their order");
        at += name.size();
    }
}

}  // namespace tarn::fuzz
