// DNS responses for scan tests: one question, answers of type A or AAAA behind a compression pointer.
#ifndef TARN_TESTS_URL_DNS_MESSAGE_H
#define TARN_TESTS_URL_DNS_MESSAGE_H

#include <cstdint>
#include <string>
#include <vector>

namespace tarn::url {

// Each answer is an address of 4 or 16 bytes.
inline std::string DnsResponse(const std::string& name, const std::vector<std::string>& answers) {
    std::string message("\x12\x34\x81\x80\0\x01\0", 7);
    message += static_cast<char>(answers.size());
    message += std::string(4, '\0');
    std::size_t at = 0;
    while (at <= name.size()) {
        const std::size_t dot = std::min(name.find('.', at), name.size());
        message += static_cast<char>(dot - at);
        message += name.substr(at, dot - at);
        at = dot + 1;
    }
    message += std::string("\0\0\x01\0\x01", 5);
    for (const std::string& answer : answers) {
        message += std::string("\xC0\x0C\0", 3);
        message += static_cast<char>(answer.size() == 4 ? 1 : 28);
        message += std::string("\0\x01\0\0\0\x3C\0", 7);
        message += static_cast<char>(answer.size());
        message += answer;
    }
    return message;
}

}  // namespace tarn::url

#endif
