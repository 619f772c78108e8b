// Writes DNS messages byte by byte, for tests of what reads and forwards them.
#ifndef TARN_TESTS_SERVE_DNS_BYTES_H
#define TARN_TESTS_SERVE_DNS_BYTES_H

#include <cstdint>
#include <initializer_list>
#include <string>
#include <string_view>
#include <vector>

namespace tarn::host::serve {

class DnsWriter {
 public:
    DnsWriter& U8(unsigned value) {
        bytes.push_back(static_cast<std::uint8_t>(value));
        return *this;
    }
    DnsWriter& U16(unsigned value) { return U8(value >> 8 & 0xFF).U8(value & 0xFF); }
    DnsWriter& U32(std::uint32_t value) { return U16(value >> 16).U16(value & 0xFFFF); }
    DnsWriter& Header(unsigned id, unsigned flags, std::initializer_list<unsigned> counts) {
        U16(id).U16(flags);
        for (const unsigned count : counts) U16(count);
        return *this;
    }
    // Dotted; the empty name is the root.
    DnsWriter& Name(std::string_view name) {
        while (!name.empty()) {
            const std::string_view label = name.substr(0, name.find('.'));
            U8(static_cast<unsigned>(label.size()));
            for (const char c : label) U8(static_cast<unsigned char>(c));
            name.remove_prefix(label.size() == name.size() ? label.size() : label.size() + 1);
        }
        return U8(0);
    }
    // What stands behind a record's owner.
    DnsWriter& Record(unsigned type, std::uint32_t seconds, const std::vector<std::uint8_t>& data) {
        U16(type).U16(1).U32(seconds).U16(static_cast<unsigned>(data.size()));
        bytes.insert(bytes.end(), data.begin(), data.end());
        return *this;
    }

    std::vector<std::uint8_t> bytes;
};

inline std::vector<std::uint8_t> DnsQuery(unsigned id, std::string_view name, unsigned type) {
    return DnsWriter().Header(id, 0x0100, {1, 0, 0, 0}).Name(name).U16(type).U16(1).bytes;
}

// With the one address.
inline std::vector<std::uint8_t> DnsAnswer(unsigned id, std::string_view name, unsigned type,
                                           const std::vector<std::uint8_t>& address) {
    return DnsWriter()
        .Header(id, 0x8180, {1, 1, 0, 0})
        .Name(name)
        .U16(type)
        .U16(1)
        .U16(0xC00C)
        .Record(type, 60, address)
        .bytes;
}

}  // namespace tarn::host::serve

#endif
