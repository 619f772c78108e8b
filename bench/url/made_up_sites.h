// Made-up hosts, paths and URLs for the benchmarks: the same ones in every run, thousands of different ones.
#ifndef TARN_BENCH_URL_MADE_UP_SITES_H
#define TARN_BENCH_URL_MADE_UP_SITES_H

#include <cstdint>
#include <iterator>
#include <random>
#include <string>

namespace tarn::url {

class SiteCorpus {
 public:
    explicit SiteCorpus(std::uint32_t seed) : random_(seed) {}

    std::size_t Below(std::size_t bound) { return random_() % bound; }
    std::string Word() {
        static constexpr const char* kSyllables[] = {"ba", "con", "da", "el",  "fi", "gra", "hu",  "in",
                                                     "jo", "ka",  "lu", "mer", "no", "or",  "pla", "qui",
                                                     "re", "sta", "to", "un",  "ve", "wi"};
        std::string word;
        for (std::size_t count = 2 + Below(3); count != 0; --count) word += kSyllables[Below(std::size(kSyllables))];
        return word;
    }
    std::string Domain() {
        static constexpr const char* kEnds[] = {".com", ".org", ".net", ".example", ".co.uk", ".de", ".info", ".io"};
        return Word() + Word() + kEnds[Below(std::size(kEnds))];
    }
    std::string Host() { return (Below(2) == 0 ? "www." : Below(3) == 0 ? Word() + '.' : std::string()) + Domain(); }
    // A host that no list made of the others holds, by its end.
    std::string UnlistedHost() { return (Below(2) == 0 ? "www." : Word() + '.') + Word() + Word() + ".test"; }
    std::string Path() {
        std::string path;
        for (std::size_t count = 1 + Below(3); count != 0; --count) path += '/' + Word();
        return path + (Below(2) == 0 ? ".html" : "/");
    }

 private:
    std::mt19937 random_;
};

// What a browser sends, about 700 bytes.
inline std::string BrowserRequest(const std::string& host, const std::string& target) {
    return "GET " + target + " HTTP/1.1\r\nHost: " + host +
           "\r\nConnection: keep-alive\r\nCache-Control: max-age=0\r\nUpgrade-Insecure-Requests: 1\r\n"
           "User-Agent: Mozilla/5.0 (Windows NT 10.0; Win64; x64) AppleWebKit/537.36 (KHTML, like Gecko) "
           "Chrome/120.0.0.0 Safari/537.36\r\nAccept: text/html,application/xhtml+xml,application/xml;"
           "q=0.9,image/avif,image/webp,image/apng,*/*;q=0.8\r\nReferer: https://www.example.org/search\r\n"
           "Accept-Encoding: gzip, deflate\r\nAccept-Language: en-GB,en;q=0.9,de;q=0.8\r\n"
           "Cookie: session=" +
           std::string(90, 'c') + "; consent=1; theme=dark\r\n\r\n";
}

}  // namespace tarn::url

#endif
