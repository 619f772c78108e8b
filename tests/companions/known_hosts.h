// The converted names of the tests, as every system converts them.
#ifndef TARN_TESTS_COMPANIONS_KNOWN_HOSTS_H
#define TARN_TESTS_COMPANIONS_KNOWN_HOSTS_H

#include <map>
#include <optional>
#include <string>

namespace tarn::policy {

inline std::optional<std::string> KnownAsciiHost(const std::string& utf8) {
    static const std::map<std::string, std::string> kNames = {{"bücher.example", "xn--bcher-kva.example"},
                                                              {"grün.example", "xn--grn-ioa.example"},
                                                              {"käse.example", "xn--kse-qla.example"},
                                                              {"münchen.example", "xn--mnchen-3ya.example"}};
    const auto found = kNames.find(utf8);
    return found == kNames.end() ? std::nullopt : std::optional<std::string>(found->second);
}

}  // namespace tarn::policy

#endif
