// DNS messages (RFC 1035) as a forwarder needs them: the question is read, all records are walked, answers are
// composed. The bytes come from anywhere: a name whose pointers do not lead strictly back is refused, every length is
// tested.
#ifndef TARN_HOST_SERVE_DNS_MESSAGE_H
#define TARN_HOST_SERVE_DNS_MESSAGE_H

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "base/byte_reader.h"
#include "host/capture/ip_address.h"

namespace tarn::host::serve {

inline constexpr std::uint16_t kDnsTypeA = 1;
inline constexpr std::uint16_t kDnsTypeAaaa = 28;
inline constexpr std::uint16_t kDnsClassIn = 1;

inline constexpr std::size_t kLargestQuery = 4096;
inline constexpr std::size_t kSmallestUdpAnswer = 512;  // what every client takes over UDP
inline constexpr std::size_t kLargestUdpAnswer = 4096;  // a forged question makes no more than that go to its victim

enum class DnsResult : std::uint8_t {
    kNoError = 0,
    kFormatError = 1,
    kServerFailure = 2,
    kNoSuchName = 3,
    kNotImplemented = 4,
    kRefused = 5
};

struct DnsQuestion {
    std::string
        name;  // small letters, without the last dot; a byte that no host name has stands as \DDD; "." is the root
    std::uint16_t type = 0;
    std::uint16_t dnsClass = 0;
    bool operator==(const DnsQuestion&) const = default;
};

struct DnsMessage {
    std::uint16_t id = 0;
    bool isResponse = false;
    bool isTruncated = false;
    std::uint8_t opcode = 0;
    std::uint8_t result = 0;
    DnsQuestion question;
    std::size_t questionEnd = 0;           // where the records begin
    std::optional<std::uint16_t> udpSize;  // what the sender takes over UDP, where it says so (RFC 6891)

    // From 512 to 4,096, whatever the sender says.
    [[nodiscard]] std::size_t LargestUdpAnswer() const;
};

// Nothing unless the message has exactly one question and every record that it announces lies whole inside it.
std::optional<DnsMessage> ParseDnsMessage(base::Bytes bytes);

// Only the number that an answer has to carry, for messages that do not parse; nothing below a whole header.
std::optional<std::uint16_t> DnsIdOf(base::Bytes bytes);
void SetDnsId(std::vector<std::uint8_t>& message, std::uint16_t id);

// An answer without records to the query, with its question; of a query that does not parse the header alone.
std::vector<std::uint8_t> ComposeDnsResult(base::Bytes query, DnsResult result);
// The same as a success that says "ask again over TCP".
std::vector<std::uint8_t> ComposeDnsTruncated(base::Bytes query);
// The address as the answer where its kind was asked for, else an answer without records. Empty for what does not
// parse.
std::vector<std::uint8_t> ComposeDnsAddress(base::Bytes query, const IpAddress& address, std::uint32_t seconds);

}  // namespace tarn::host::serve

#endif
