// A verdict record as a scan must leave it, byte for byte: the caller's bytes but for what the deciding rule writes.
// What stands behind the NUL of a text is not compared.
#ifndef TARN_TESTS_SYSTEM_EXPECTED_VERDICT_H
#define TARN_TESTS_SYSTEM_EXPECTED_VERDICT_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>

#include "tarn/records.h"

#include "support/verdict_matchers.h"

namespace tarn::system_test {

inline constexpr unsigned char kCallersByte = 0xCD;

class ExpectedVerdict {
 public:
    explicit ExpectedVerdict(const UrlDecision& decision) {
        bytes_.fill(kCallersByte);
        Put(offsetof(UrlVerdict, allow), &decision.allow, sizeof decision.allow);
        Put(offsetof(UrlVerdict, reason), &decision.reason, sizeof decision.reason);
    }
    ExpectedVerdict& Url(std::string_view url) { return Text(kText, TARN_URL_CAPACITY, url); }
    ExpectedVerdict& ThreatName(std::string_view name) { return Text(kText, sizeof ThreatText{}.name, name); }
    ExpectedVerdict& ThreatUrl(std::string_view url) {
        return Text(kText + offsetof(ThreatText, url), TARN_URL_CAPACITY, url);
    }
    ExpectedVerdict& Category(std::uint32_t id, std::u16string_view name) {
        Put(offsetof(UrlVerdict, categoryId), &id, sizeof id);
        return Text(offsetof(UrlVerdict, categoryName), sizeof UrlVerdict{}.categoryName, name);
    }
    ExpectedVerdict& User(std::u16string_view name) {
        return Text(offsetof(UrlVerdict, userName), sizeof UrlVerdict{}.userName, name);
    }
    ExpectedVerdict& Blocked(std::string_view host, std::string_view path) {
        Text(offsetof(UrlVerdict, blockedPath), TARN_URL_CAPACITY, path);
        return Text(offsetof(UrlVerdict, blockedHost), TARN_URL_CAPACITY, host);
    }
    // The time is compared by the test, which knows when it asked.
    ExpectedVerdict& AnyTime() {
        Open(offsetof(UrlVerdict, localTime), sizeof(TarnSystemTime));
        return *this;
    }

    // Empty when the record is as expected, else where it differs first.
    [[nodiscard]] std::string Difference(const UrlVerdict& verdict) const {
        std::array<unsigned char, sizeof verdict> actual;
        std::memcpy(actual.data(), &verdict, sizeof verdict);
        for (std::size_t i = 0; i < actual.size(); ++i)
            if (!open_[i] && actual[i] != bytes_[i])
                return "byte " + std::to_string(i) + " is " + std::to_string(actual[i]) + ", not " +
                       std::to_string(bytes_[i]) + ": " + Shown(verdict);
        return "";
    }

 private:
    static constexpr std::size_t kText = offsetof(UrlVerdict, text);

    static std::string Shown(const UrlVerdict& verdict) {
        return testing::PrintToString(
            UrlDecisionWithUrl(DecisionOf(verdict), std::string(verdict.text.url, strnlen(verdict.text.url, 60))));
    }
    void Put(std::size_t offset, const void* value, std::size_t size) { std::memcpy(&bytes_[offset], value, size); }
    void Open(std::size_t offset, std::size_t size) {
        for (std::size_t i = offset; i < offset + size; ++i) open_[i] = true;
    }
    template <class Char>
    ExpectedVerdict& Text(std::size_t offset, std::size_t size, std::basic_string_view<Char> text) {
        const std::basic_string<Char> terminated(text);
        const std::size_t length = (terminated.size() + 1) * sizeof(Char);
        Put(offset, terminated.c_str(), length);
        Open(offset + length, size - length);
        return *this;
    }
    ExpectedVerdict& Text(std::size_t offset, std::size_t size, std::string_view text) {
        return Text<char>(offset, size, text);
    }
    ExpectedVerdict& Text(std::size_t offset, std::size_t size, std::u16string_view text) {
        return Text<char16_t>(offset, size, text);
    }

    std::array<unsigned char, sizeof(UrlVerdict)> bytes_{};
    std::array<bool, sizeof(UrlVerdict)> open_{};
};

}  // namespace tarn::system_test

#endif
