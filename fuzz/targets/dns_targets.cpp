// DNS responses on their way into the ring, and the ring as it was saved before a restart.
#include <algorithm>
#include <array>
#include <cstring>

#include "base/bounded_text.h"
#include "network/dns_answer_ring.h"
#include "network/dns_response.h"
#include "targets.h"

namespace tarn::fuzz {
namespace {

constexpr std::size_t kKept = 2;

std::string_view NameOf(const DnsAnswerEntry& entry) {
    return base::FieldText(entry.hostName, sizeof entry.hostName);
}

void RequireKnown(const network::DnsAnswerRing& ring, const DnsAnswerEntry& entry) {
    std::array<char, 260> host;
    const std::size_t count = std::min<std::size_t>(entry.addressCount, kKept);
    for (std::size_t i = 0; i < count; ++i) {
        Require(ring.FindHostByAddress(entry.addresses[i], host.data(), host.size()), "a stored address is found");
        Require(std::string_view(host.data()) == NameOf(entry), "the newest answer of an address is found");
    }
}

}  // namespace

// Responses one behind the other, each with its length in front; the last one needs none.
void DnsResponse(Bytes input) {
    network::DnsAnswerRing ring;
    bool isAllocated = false;  // only when it is needed: the ring is large
    Pieces pieces(input);
    const std::uint8_t count = pieces.Byte() % 4;
    for (std::size_t i = 0; i <= count; ++i) {
        const ExactBlock message(i == count ? pieces.Rest() : pieces.Piece());
        DnsAnswerEntry answer;
        DnsAnswerEntry again;
        std::memset(&answer, 0, sizeof answer);
        std::memset(&again, 0, sizeof again);
        const bool isResponse = network::ParseDnsResponse(message.View(), answer);
        Require(network::ParseDnsResponse(message.View(), again) == isResponse, "a response is parsed alike twice");
        if (!isResponse) continue;
        Require(std::memcmp(&answer, &again, sizeof answer) == 0, "a response gives the same answer twice");
        Require(IsTerminated(answer.hostName), "the name is terminated");
        Require(answer.addressCount <= message.View().size() / 4, "every address has bytes of its own");
        const IpAddressRecord& first = answer.addresses[0];
        const IpAddressRecord& next = answer.addresses[1];
        Require(first.family <= TARN_FAMILY_IPV6 && next.family <= TARN_FAMILY_IPV6, "the families are known");
        Require(answer.addressCount < 2 || first.family <= next.family, "IPv4 stands before IPv6");
        Require(isAllocated || ring.Allocate(), "there is memory for the ring");
        isAllocated = true;
        ring.Store(answer);
        RequireKnown(ring, answer);
    }
}

void SavedDnsAnswers(Bytes input) {
    Pieces pieces(input);
    const std::uint16_t writeIndex = pieces.Number();
    const std::uint8_t stored = pieces.Byte() % 4;
    std::array<DnsAnswerEntry, 4> more;
    for (std::size_t i = 0; i < stored; ++i) {
        const Bytes bytes = pieces.Take(sizeof more[i]);
        std::memset(&more[i], 0, sizeof more[i]);
        std::memcpy(&more[i], bytes.data(), bytes.size());
    }
    const Bytes saved = pieces.Rest();
    const std::size_t count = saved.size() / sizeof(DnsAnswerEntry);
    const ExactBlock block(saved.first(count * sizeof(DnsAnswerEntry)));
    const std::span entries(reinterpret_cast<const DnsAnswerEntry*>(block.View().data()), count);

    network::DnsAnswerRing ring;
    Require(ring.Allocate(), "there is memory for the ring");
    ring.Restore(entries, writeIndex);
    const DnsCacheRecord kept = ring.Saved();
    Require(count == 0 || std::memcmp(kept.entries, entries.data(), entries.size_bytes()) == 0,
            "what was saved is saved again");
    Require(kept.writeIndex <= network::DnsAnswerRing::kSlots, "the write index lies in the ring");
    std::array<char, 260> host;
    for (const DnsAnswerEntry& entry : entries)
        for (const IpAddressRecord& address : entry.addresses) {
            host.fill('x');
            if (ring.FindHostByAddress(address, host.data(), host.size()))
                Require(std::find(host.begin(), host.end(), '\0') != host.end(), "a found name is terminated");
        }
    for (std::size_t i = 0; i < stored; ++i) {
        ring.Store(more[i]);
        RequireKnown(ring, more[i]);
    }
}

}  // namespace tarn::fuzz
