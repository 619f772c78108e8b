// The first payloads of the captures, as bytes: what real clients send and real name servers answer.
// Each file line is one flat record written by the dissector; only two of its fields are taken.
#ifndef TARN_TESTS_CAPTURES_CAPTURED_PAYLOADS_H
#define TARN_TESTS_CAPTURES_CAPTURED_PAYLOADS_H

#include <fstream>
#include <map>
#include <set>
#include <string>

namespace tarn::captures {

// The different payloads of each kind: "http", "ftp", "tls", "dns".
using Payloads = std::map<std::string, std::set<std::string>>;

inline std::string FieldOf(const std::string& line, const std::string& name) {
    const std::string begin = "\"" + name + "\": \"";
    const std::size_t at = line.find(begin);
    if (at == std::string::npos) return "";
    const std::size_t start = at + begin.size();
    return line.substr(start, line.find('"', start) - start);
}

inline std::string BytesOf(const std::string& hex) {
    std::string bytes;
    for (std::size_t i = 0; i + 1 < hex.size(); i += 2)
        bytes += static_cast<char>(std::stoi(hex.substr(i, 2), nullptr, 16));
    return bytes;
}

inline Payloads ReadPayloads(const std::string& folder) {
    Payloads payloads;
    std::ifstream input(folder + "/first_payloads.jsonl");
    for (std::string line; std::getline(input, line);)
        payloads[FieldOf(line, "kind")].insert(BytesOf(FieldOf(line, "payload_hex")));
    return payloads;
}

}  // namespace tarn::captures

#endif
