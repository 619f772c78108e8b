// The CRC-32 of a host and of what stands behind each of its dots: the keys of every table of sites.
// Pure functions of their arguments.
#ifndef TARN_LISTS_LABEL_HASHES_H
#define TARN_LISTS_LABEL_HASHES_H

#include <array>
#include <concepts>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>

namespace tarn::lists {

inline constexpr std::size_t kMaxLabelHashes = 10;

// CRC-32 of a host, faster than byte by byte.
std::uint32_t HostHash(std::string_view host);

// The hash of "www." and a host, from the host's own hash and its length, at most 256.
std::uint32_t HashWithWww(std::uint32_t hostHash, std::size_t hostLength);

// A host as a whole, with its hash.
struct HostKey {
    HostKey(std::string_view host, std::uint32_t hostHash) : text(host), hash(hostHash) {}
    template <std::convertible_to<std::string_view> Text>
    HostKey(const Text& host) : text(host), hash(HostHash(text)) {}

    std::string_view text;
    std::uint32_t hash;
};

// What every list asks of a host, worked out once for each request. The text stays its owner's.
class HostKeys {
 public:
    HostKeys() { values_[0] = 0; }  // of an empty host
    template <std::convertible_to<std::string_view> Text>
    HostKeys(const Text& host) : text_(host) {
        Compute();
    }

    [[nodiscard]] std::string_view Text() const { return text_; }
    [[nodiscard]] HostKey Whole() const { return {text_, values_[0]}; }
    // The host without a leading "www.".
    [[nodiscard]] HostKey WithoutWww() const {
        return text_.starts_with("www.") ? HostKey(text_.substr(4), values_[1]) : Whole();
    }

    // What stands behind each dot, whatever the text is; the last dots are left out when there are more than nine.
    [[nodiscard]] std::span<const std::uint32_t> BehindDots() const {
        return std::span(values_).first(count_).subspan(1);
    }
    [[nodiscard]] bool HasMoreDots() const { return hasMoreDots_; }

    // The keys of a table of sites: the whole host, then what stands behind each dot, at most ten together. Of an
    // address literal the whole alone. None for an empty host and for one that begins or ends with ".".
    [[nodiscard]] std::span<const std::uint32_t> Labels() const { return {values_.data(), labels_}; }
    [[nodiscard]] bool IsIpLiteral() const { return isIpLiteral_; }

    // Whether the text holds a letter in upper case.
    [[nodiscard]] bool HasUpper() const { return hasUpper_; }

 private:
    void Compute();

    std::string_view text_;
    std::array<std::uint32_t, kMaxLabelHashes> values_;
    std::uint8_t count_ = 1;
    std::uint8_t labels_ = 0;
    bool hasMoreDots_ = false;
    bool isIpLiteral_ = false;
    bool hasUpper_ = false;
};

}  // namespace tarn::lists

#endif
