#include "made_seeds.h"

#include <initializer_list>
#include <random>
#include <string>

#include "captured_seeds.h"
#include "support/project_files.h"

namespace tarn::fuzz {
namespace {

// The same in every run.
std::vector<ByteList> AnyBytes(std::initializer_list<std::size_t> sizes, std::uint32_t seed) {
    std::mt19937 random(seed);
    std::vector<ByteList> seeds;
    for (const std::size_t size : sizes) {
        ByteList& bytes = seeds.emplace_back();
        while (bytes.size() < size) bytes.push_back(static_cast<std::uint8_t>(random() & 0xFF));
    }
    return seeds;
}

ByteList FromText(std::string_view text) {
    return {text.begin(), text.end()};
}

// Behind the byte that says what the rest is.
std::vector<ByteList> EventSeeds() {
    const std::string verdict =
        R"({"type":"verdict","version":1,"written":"2026-03-07T21:30:05Z","time":"2026-03-07T21:30:04.25Z",)"
        R"("capture":"a.pcap","frame":7,"flow":{"id":"1:x=","transport":"tcp","client":"192.0.2.1","client_port":4000,)"
        R"("server":"192.0.2.2","server_port":80},"verdict":"blocked","judged":"part","why_not_whole":"cut","host":)"
        R"("a.example","path":"/x","reason":2,"reason_text":"malicious site","entry":{"list":"malicious_sites",)"
        R"("text":"a.example","file":"p.toml","line":12},"latency_ns":900})";
    const std::string others =
        R"({"type":"attack","version":1,"frame":8,"verdict":"blocked","direction":"inbound","reason":23,"rule":7,)"
        R"("rule_name":"T","dropped":true})"
        "\n"
        R"({"type":"file","version":1,"frame":9,"share":"\\\\s\\d","file":"a.txt","action":"created"})"
        "\n"
        R"({"type":"not_examined","version":1,"what":"quic"})"
        "\n"
        R"({"type":"stats","version":1,"requests":1,"frames":9,"latency_ns":{"url":{"calls":1,"p50":900,"max":901}}})";
    std::vector<ByteList> seeds = AnyBytes({60, 400, 2000}, 7);
    for (ByteList& seed : seeds) seed[0] = 2;
    for (const char kind : {'\0', '\1'})
        seeds.push_back(FromText(kind + verdict + "\n\xEF\xBB\xBF" + others + "\r\nno event\n{}\n"));
    return seeds;
}

std::vector<ByteList> CommandTextSeeds() {
    std::vector<ByteList> seeds;
    for (const std::string_view text :
         {"2026-03-07T21:30", "21:30:15", "24:00", "2026-02-29T00:00", "192.0.2.1=203.0.113.5\n2001:db8::1=2001:db8::2",
          "192.0.2.1=", "1.2.3.4=1.2.3.4=1.2.3.4"})
        seeds.push_back(FromText(text));
    return seeds;
}

}  // namespace

std::vector<ByteList> MadeSeeds(std::string_view target) {
    if (target == "made_frame" || target == "made_tls_hello" || target == "made_dns_message")
        return AnyBytes({12, 24, 48, 80, 120, 200, 300, 500, 900}, 1);
    if (target == "made_smb") return AnyBytes({30, 60, 120, 240, 480, 900}, 2);
    if (target == "module_record") return AnyBytes({10, 40, 80, 160, 320, 640, 900, 1200}, 3);
    if (target == "made_capture" || target == "replayed_capture") return AnyBytes({40, 120, 300, 600, 1200, 2400}, 4);
    if (target == "exports") return AnyBytes({20, 60, 120, 240, 480, 960, 1500, 2200}, 5);
    if (target == "event_lines") return EventSeeds();
    if (target == "case_file")
        return {ReadWholeFile(ProjectFile("examples/policy_tests/cases.toml")),
                FromText("together = true\n[[case]]\n")};
    if (target == "command_texts") return CommandTextSeeds();
    return {};
}

}  // namespace tarn::fuzz
