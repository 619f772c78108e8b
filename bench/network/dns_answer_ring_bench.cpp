// A host found by its address in rings of all fillings, for addresses in it and others, against the walk from the
// newest slot to the oldest; and a DNS answer parsed and stored.
#include <benchmark/benchmark.h>
#include <random>
#include <string>
#include <string_view>
#include <vector>

#include "base/bounded_text.h"
#include "network/dns_answer_ring.h"
#include "network/dns_response.h"
#include "network/frame_bytes.h"
#include "network/ip_address.h"
#include "url/dns_message.h"

namespace tarn::network {
namespace {

constexpr std::size_t kQuestions = 4096;  // more than a branch predictor learns
constexpr int kHits = 1;

// Stored answers have two addresses, odd numbers; even ones are never stored.
struct Setup {
    Setup(std::size_t stored, bool hits) : random(13) {
        ready = ring.Allocate();
        for (std::size_t i = 0; i < stored; ++i) {
            DnsAnswerEntry& entry = entries.emplace_back();
            entry.addressCount = 2;
            base::CopyText(entry.hostName, sizeof entry.hostName, "www.host" + std::to_string(i) + ".example");
            entry.addresses[0] = NumberedAddress(static_cast<std::uint32_t>(random()) | 1U);
            entry.addresses[1] = NumberedAddress(static_cast<std::uint32_t>(random()) | 1U);
            ring.Store(entry);
        }
        for (std::size_t i = 0; i < kQuestions; ++i)
            asked.push_back(hits ? entries[random() % stored].addresses[i % 2]
                                 : NumberedAddress(static_cast<std::uint32_t>(random()) & ~1U));
    }
    bool Walk(const IpAddressRecord& address, char* host, std::size_t capacity) const {
        for (std::size_t i = entries.size(); i-- > 0;)
            for (const IpAddressRecord& held : entries[i].addresses)
                if (CompareIPAddress(held, address)) {
                    const auto name = base::FieldText(entries[i].hostName, sizeof entries[i].hostName);
                    return base::Succeeded(base::CopyText(host, capacity, name));
                }
        return false;
    }

    std::mt19937 random;
    DnsAnswerRing ring;
    bool ready = false;
    std::vector<DnsAnswerEntry> entries;
    std::vector<IpAddressRecord> asked;
};

template <class Find>
void LookUp(benchmark::State& state, Find find) {
    const bool hits = state.range(1) == kHits;
    const Setup setup(static_cast<std::size_t>(state.range(0)), hits);
    char host[260];
    char walked[260];
    for (std::size_t i = 0; i < kQuestions; i += 67) {
        const IpAddressRecord& address = setup.asked[i];
        if (!setup.ready || find(setup, address, host) != hits || setup.Walk(address, walked, sizeof walked) != hits ||
            (hits && std::string_view(host) != walked)) {
            state.SkipWithError("a wrong answer");
            return;
        }
    }
    std::size_t next = 0;
    for (auto unused : state) {
        (void)unused;
        if (find(setup, setup.asked[next], host) != hits) state.SkipWithError("a wrong answer");
        next = (next + 1) % kQuestions;
    }
}

void RingAsked(benchmark::State& state) {
    LookUp(state, [](const Setup& setup, const IpAddressRecord& address, char* host) {
        return setup.ring.FindHostByAddress(address, host, 260);
    });
}
void RingAskedPlainWalk(benchmark::State& state) {
    LookUp(state, [](const Setup& setup, const IpAddressRecord& address, char* host) {
        return setup.Walk(address, host, 260);
    });
}

constexpr std::string_view kHost = "www.some-host.example";

std::string Message() {
    const std::string ipv4("\xCB\x00\x71\x05", 4);
    return url::DnsResponse(std::string(kHost), {ipv4, ipv4, std::string(16, '\x20')});
}

void DnsMessageParsed(benchmark::State& state) {
    const std::string message = Message();
    DnsAnswerEntry entry;
    for (auto unused : state) {
        (void)unused;
        if (!ParseDnsResponse({reinterpret_cast<const std::uint8_t*>(message.data()), message.size()}, entry) ||
            entry.addressCount != 3)
            state.SkipWithError("a wrong answer");
        benchmark::DoNotOptimize(entry);
    }
    if (entry.hostName != kHost) state.SkipWithError("a wrong name");
}

// The peer of the parse: the message copied.
void DnsMessageCopied(benchmark::State& state) {
    const std::string message = Message();
    std::vector<char> copy(message.size());
    for (auto unused : state) {
        (void)unused;
        std::memcpy(copy.data(), message.data(), message.size());
        benchmark::DoNotOptimize(copy.data());
        benchmark::ClobberMemory();
    }
    if (std::string_view(copy.data(), copy.size()) != message) state.SkipWithError("a wrong copy");
}

void RingStored(benchmark::State& state) {
    Setup setup(DnsAnswerRing::kSlots, true);
    std::size_t next = 0;
    for (auto unused : state) {
        (void)unused;
        setup.ring.Store(setup.entries[next]);
        next = (next + 1) % setup.entries.size();
    }
    char host[260];
    if (!setup.ring.FindHostByAddress(setup.entries[0].addresses[0], host, sizeof host))
        state.SkipWithError("a stored answer is not found");
}

BENCHMARK(RingAsked)->ArgNames({"stored", "hit"})->Args({0, 0})->Args({100, 1})->Args({3000, 1})->Args({3000, 0});
BENCHMARK(RingAskedPlainWalk)
    ->ArgNames({"stored", "hit"})
    ->Args({0, 0})
    ->Args({100, 1})
    ->Args({3000, 1})
    ->Args({3000, 0});
BENCHMARK(RingStored);
BENCHMARK(DnsMessageParsed);
BENCHMARK(DnsMessageCopied);

}  // namespace
}  // namespace tarn::network
