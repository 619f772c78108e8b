#include "host/serve/socks_message.h"

#include <algorithm>
#include <string>

#include "host/serve/addresses.h"

namespace tarn::host::serve {

namespace {

constexpr std::uint8_t kVersion = 5;
constexpr std::uint8_t kConnect = 1;
constexpr std::uint8_t kIpv4 = 1;
constexpr std::uint8_t kName = 3;
constexpr std::uint8_t kIpv6 = 4;

// The address of the kind, as a host in the form that lists have; false when it is not whole.
bool ReadHost(base::ByteReader& reader, std::uint8_t kind, std::string& host) {
    base::Bytes bytes;
    if (kind == kName) {
        if (!reader.Prefixed<std::uint8_t>(bytes)) return false;
        host = base::TextOf(bytes);
        if (const auto address = ParseIpAddress(host)) host = FormatIpAddress(Unmapped(*address));
        return true;
    }
    if (!reader.Take(kind == kIpv6 ? 16 : 4, bytes)) return false;
    IpAddress address;
    address.isIpv6 = kind == kIpv6;
    std::copy(bytes.begin(), bytes.end(), address.bytes.begin());
    host = FormatIpAddress(Unmapped(address));
    return true;
}

bool IsUsable(const Target& target) {
    if (target.port == 0) return false;
    if (ParseIpAddress(target.host)) return true;
    const auto parsed = ParseTarget(target.host, target.port);
    return parsed && *parsed == target;
}

}  // namespace

SocksGreeting ReadSocksGreeting(base::Bytes said) {
    SocksGreeting greeting;
    base::ByteReader reader(said);
    std::uint8_t version = 0;
    if (!reader.Be(version)) return greeting;
    if (version != kVersion) {
        greeting.state = SocksState::kOther;
        return greeting;
    }
    base::Bytes methods;
    if (!reader.Prefixed<std::uint8_t>(methods)) return greeting;
    greeting.acceptsNoLogin = std::find(methods.begin(), methods.end(), 0) != methods.end();
    greeting.length = reader.Position();
    greeting.state = SocksState::kDone;
    return greeting;
}

SocksRequest ReadSocksRequest(base::Bytes said) {
    SocksRequest request;
    base::ByteReader reader(said);
    std::uint8_t version = 0;
    std::uint8_t command = 0;
    std::uint8_t kind = 0;
    if (reader.Be(version) && version != kVersion) {
        request.state = SocksState::kOther;
        return request;
    }
    if (!reader.Be(command) || !reader.Skip(1) || !reader.Be(kind)) return request;
    // How long the address is nobody knows then: the request ends here.
    if (kind != kIpv4 && kind != kName && kind != kIpv6) {
        request.state = SocksState::kDone;
        request.code = SocksCode::kUnknownAddress;
        request.length = reader.Position();
        return request;
    }
    if (!ReadHost(reader, kind, request.target.host) || !reader.Be(request.target.port)) return request;
    request.state = SocksState::kDone;
    request.length = reader.Position();
    if (command != kConnect)
        request.code = SocksCode::kUnknownCommand;
    else if (!IsUsable(request.target))
        request.code = SocksCode::kFailure;
    return request;
}

std::array<std::uint8_t, 10> ComposeSocksReply(SocksCode code) {
    return {kVersion, static_cast<std::uint8_t>(code), 0, kIpv4, 0, 0, 0, 0, 0, 0};
}

}  // namespace tarn::host::serve
