#include "host/serve/dns_service.h"

#include <algorithm>
#include <optional>
#include <utility>

#include "host/serve/client_process.h"
#include "host/serve/dns_message.h"
#include "host/serve/filter.h"

namespace tarn::host::serve {

namespace {

constexpr std::uint16_t kTypeIxfr = 251;
constexpr std::uint16_t kTypeAxfr = 252;
constexpr std::uint32_t kRefusalSeconds = 5;  // how long clients may remember it: the policy may change

using Message = DnsService::Message;

// What is answered without asking anybody; nothing for a question that a server is to answer.
std::optional<Message> OwnAnswer(base::Bytes query) {
    constexpr std::uint8_t kQuery = 0;
    const auto message = ParseDnsMessage(query);
    if (!message) return ComposeDnsResult(query, DnsResult::kFormatError);
    if (message->opcode != kQuery) return ComposeDnsResult(query, DnsResult::kNotImplemented);
    if (message->question.type == kTypeAxfr || message->question.type == kTypeIxfr)
        return ComposeDnsResult(query, DnsResult::kRefused);
    return std::nullopt;
}

}  // namespace

bool IsDnsResponse(base::Bytes bytes) {
    base::ByteReader reader(bytes);
    std::uint8_t flags = 0;
    return reader.Skip(sizeof(std::uint16_t)) && reader.Be(flags) && (flags & 0x80) != 0;
}

DnsService::DnsService(Services& services, const DnsLimits& limits) : services_(services), limits_(limits) {
    servers_.servers = services.settings.dnsUpstreams;
    servers_.attempt = limits.attempt;
}

void DnsService::Answer(const Message& query, const Endpoint& client, Reply reply) {
    ++asked_;
    if (auto own = OwnAnswer(query)) {
        ++unreadable_;
        return reply(std::move(*own));
    }
    auto admitted = Admit(client);
    if (!admitted) {
        ++tooMany_;
        return reply(ComposeDnsResult(query, DnsResult::kServerFailure));
    }
    ExchangeDns(services_.io, servers_, query,
                [self = shared_from_this(), query, client, reply = std::move(reply),
                 admitted = std::move(admitted)](DnsReply answer) mutable {
                    admitted.reset();
                    reply(self->Judged(query, client, std::move(answer)));
                });
}

std::shared_ptr<void> DnsService::Admit(const Endpoint& client) {
    const asio::ip::address address = AddressOfEndpoint(client);
    const bool isLocal = address.is_loopback();
    {
        const std::lock_guard lock(mutex_);
        if (running_ >= limits_.questions) return nullptr;
        if (!isLocal && open_[address] >= std::max<std::size_t>(limits_.questions / 4, 1)) return nullptr;
        ++running_;
        if (!isLocal) ++open_[address];
    }
    return {this, [self = shared_from_this(), address, isLocal](void*) {
                const std::lock_guard lock(self->mutex_);
                --self->running_;
                if (isLocal) return;
                if (const auto one = self->open_.find(address); --one->second == 0) self->open_.erase(one);
            }};
}

Message DnsService::Judged(const Message& query, const Endpoint& client, DnsReply answer) {
    if (answer.message.empty()) {
        ++failed_;
        if (!isDown_.exchange(true))
            services_.filter.TellError("no DNS server answers; until one does, no name is found", ServerNames());
        return ComposeDnsResult(query, DnsResult::kServerFailure);
    }
    isDown_ = false;
    SetDnsId(answer.message, DnsIdOf(query).value_or(0));
    // Whoever asks, this program is the one that gets the answer.
    if (services_.filter.JudgeDnsAnswer(answer.message, client, answer.server, OwnProcessId()).isBlocked) {
        ++refused_;
        return Refusal(query);
    }
    ++answered_;
    return std::move(answer.message);
}

Message DnsService::Refusal(const Message& query) const {
    const ServeSettings& settings = services_.settings;
    if (settings.dnsRefusal == DnsRefusal::kNxDomain) return ComposeDnsResult(query, DnsResult::kNoSuchName);
    IpAddress address;
    if (settings.dnsRefusal == DnsRefusal::kBlockPage && settings.blockPageAddress) {
        address = *settings.blockPageAddress;
    } else {
        const auto message = ParseDnsMessage(query);
        address.isIpv6 = message && message->question.type == kDnsTypeAaaa;
    }
    return ComposeDnsAddress(query, address, kRefusalSeconds);
}

std::string DnsService::ServerNames() const {
    std::string names;
    for (const Endpoint& server : servers_.servers) names += (names.empty() ? "" : ", ") + FormatEndpoint(server);
    return names;
}

DnsCounters DnsService::Snapshot() const {
    return {asked_, answered_, refused_, failed_, tooMany_, unreadable_, servers_.dropped, servers_.overTcp};
}

}  // namespace tarn::host::serve
