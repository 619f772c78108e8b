#include "host/serve/ftp_data.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <utility>

#include "host/serve/target.h"

namespace tarn::host::serve {

namespace {

constexpr std::chrono::seconds kOfferLasts{30};
constexpr std::size_t kMostOffers = 1024;
constexpr std::uint16_t kLowestPort = 1024;

bool TakeNumber(std::string_view& text, unsigned most, unsigned& number) {
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (error != std::errc{} || number > most) return false;
    text.remove_prefix(static_cast<std::size_t>(end - text.data()));
    return true;
}

bool TakeCharacter(std::string_view& text, char character) {
    if (!text.starts_with(character)) return false;
    text.remove_prefix(1);
    return true;
}

// "227 Entering Passive Mode (192,0,2,1,200,10)"; some servers leave the brackets out.
std::optional<std::uint16_t> Passive(std::string_view text, const IpAddress& server) {
    text.remove_prefix(4);
    text.remove_prefix(std::min(text.find_first_of("0123456789"), text.size()));
    std::array<unsigned, 6> numbers{};
    for (std::size_t i = 0; i < numbers.size(); ++i)
        if ((i != 0 && !TakeCharacter(text, ',')) || !TakeNumber(text, 255, numbers[i])) return std::nullopt;
    for (std::size_t i = 0; i < 4; ++i)
        if (server.isIpv6 || numbers[i] != server.bytes[i]) return std::nullopt;
    return static_cast<std::uint16_t>(numbers[4] << 8 | numbers[5]);
}

// "229 Entering Extended Passive Mode (|||51210|)"
std::optional<std::uint16_t> ExtendedPassive(std::string_view text) {
    text.remove_prefix(std::min(text.find("(|||"), text.size()));
    text.remove_prefix(std::min<std::size_t>(4, text.size()));
    unsigned port = 0;
    if (!TakeNumber(text, 65535, port) || !TakeCharacter(text, '|')) return std::nullopt;
    return static_cast<std::uint16_t>(port);
}

}  // namespace

bool IsFtpPort(std::uint16_t port) {
    return port == kFtpPort || port == kOtherFtpPort;
}

std::optional<std::uint16_t> OfferedFtpPort(std::string_view reply, const IpAddress& server) {
    std::optional<std::uint16_t> port;
    if (reply.starts_with("227 ")) port = Passive(reply, server);
    if (reply.starts_with("229 ")) port = ExtendedPassive(reply);
    // What connects to a port of FTP is taken for a session.
    return port && *port >= kLowestPort && !IsFtpPort(*port) ? port : std::nullopt;
}

void FtpDataPorts::Offer(const IpAddress& client, const Endpoint& server, const std::string& host) {
    const Clock::time_point now = Clock::now();
    const std::lock_guard lock(mutex_);
    if (offers_.size() >= kMostOffers)
        std::erase_if(offers_, [&](const auto& offer) { return offer.second.until < now; });
    if (offers_.size() < kMostOffers) offers_[{client, server}] = {host, now + kOfferLasts};
}

std::optional<std::string> FtpDataPorts::Take(const IpAddress& client, const Endpoint& server, std::string_view named) {
    const bool isAddress = ParseIpAddress(named).has_value();
    const std::lock_guard lock(mutex_);
    const auto offer = offers_.find({client, server});
    if (offer == offers_.end() || !(isAddress || IsSameName(named, offer->second.host))) return std::nullopt;
    const Offered taken = std::move(offer->second);
    offers_.erase(offer);
    return Clock::now() < taken.until ? std::optional(taken.host) : std::nullopt;
}

}  // namespace tarn::host::serve
