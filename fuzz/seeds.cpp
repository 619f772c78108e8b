#include "seeds.h"

#include <algorithm>
#include <filesystem>
#include <iterator>
#include <string>

#include "captured_seeds.h"
#include "made_seeds.h"
#include "support/project_files.h"

namespace tarn::fuzz {
namespace {

using namespace std::string_view_literals;

using Seeds = std::vector<ByteList>;

Seeds FromTexts(std::initializer_list<std::string_view> texts) {
    Seeds seeds;
    for (const std::string_view text : texts) seeds.emplace_back(text.begin(), text.end());
    return seeds;
}

// Puts the same bytes in front of every seed.
Seeds Behind(const ByteList& front, Seeds seeds) {
    for (ByteList& seed : seeds) seed.insert(seed.begin(), front.begin(), front.end());
    return seeds;
}

void AddAll(Seeds& seeds, Seeds more) {
    std::ranges::move(more, std::back_inserter(seeds));
}

// Kind and port, facts, a public address: see ScanChoice.
ByteList ChoiceOf(std::uint8_t kind, std::uint8_t port, std::uint8_t facts) {
    std::uint8_t first = static_cast<std::uint8_t>(port << 4);
    while (first % 6 != kind) ++first;
    return {first, facts, 0, 192, 0, 2, 10};
}

Seeds ScanSeeds() {
    constexpr std::uint8_t kUsual = 1;  // the user is known
    Seeds seeds;
    AddAll(seeds, Behind(ChoiceOf(1, 0, kUsual), PayloadsOf("http", 1)));
    AddAll(seeds, Behind(ChoiceOf(1, 0, kUsual | 64), PayloadsOf("http", 4)));
    AddAll(seeds, Behind(ChoiceOf(2, 2, kUsual), PayloadsOf("ftp", 2)));
    AddAll(seeds, Behind(ChoiceOf(3, 1, kUsual), PayloadsOf("tls", 4)));
    AddAll(seeds, Behind(ChoiceOf(3, 3, kUsual | 8), PayloadsOf("dns", 4)));
    return seeds;
}

Seeds ExtensionSeeds() {
    return Behind(ChoiceOf(3, 1, 1), FromTexts({"https://www.lantern.example/style/main.css?v=3", "http://10.20.30.10/",
                                                "https://files.lantern.example:8443/a/b/../c#x", "ftp://[2001:db8::1]/",
                                                "https://m.chat.example/", "https://casino.example/play/now", "x"}));
}

// Entries, an empty line, questions; the first character of an entry is its choice.
Seeds ListSeeds() {
    return FromTexts({
        "1lantern.example /files/\n3www.shop.example \n9chat.example /a/b\n\nwww.lantern.example /files/x\n"
        "shop.example /\nm.chat.example /a/b/c\n",
        "Q192.0.2.10 /private\nqfe80::1 abcdefghijklmnop\n\n192.0.2.10 /private/x\n[fe80::1] /\n",
        "*lantern.example/files \n#a\n0/ \n\nwww.lantern.example/files?x=1 \nlantern.example/files#top /\n",
        "1harbor.test /one /two /three\n0HARBOR.test /One/\n\nharbor.test /two/x\nwww.harbor.test /\n",
        "1example \n1.example \n1www. /\n1 /\n\nexample \na.example /\nwww.example \n",
    });
}

Seeds PolicySeeds() {
    Seeds seeds = FromTexts({
        "[features]\nbrowsing_protection = true\nagent_status = 3\n",
        "[[malicious_sites]]\nhost = \"bad.example\"\nwhole_site = false\nthreats = [{ name = \"T\", path = \"/x\" "
        "}]\n",
        "[[packet_signatures]]\nport = 445\nhex = \"de ad be ef\"\n",
        "[category_names]\n7 = \"Games\"\n[[sites]]\naddress = \"play.example/a\"\ncategories = [7, 2]\n",
        "x = [[[[[[[[1]]]]]]]]\ny = 1979-05-27T07:32:00Z\nz = '''a\nb'''\n",
    });
    const ByteList whole = ReadWholeFile(DefaultPolicyFile());
    // A piece from one blank line to another is a policy of its own.
    for (std::size_t at = 0; at < whole.size();) {
        const std::string_view rest = AsText(Bytes(whole).subspan(at));
        const std::size_t end = std::min(rest.find("\n\n", 800), rest.size());
        seeds.emplace_back(rest.begin(), rest.begin() + static_cast<std::ptrdiff_t>(end));
        at += end;
    }
    return seeds;
}

Seeds StateSeeds(std::size_t records, std::size_t recordSize, std::size_t front) {
    Seeds seeds;
    for (std::size_t count = 0; count <= records; ++count) {
        ByteList seed(front + count * recordSize, 0);
        for (std::size_t i = 0; i < seed.size(); ++i) seed[i] = static_cast<std::uint8_t>(i % 7 == 0 ? i / 7 : 0);
        seeds.push_back(std::move(seed));
    }
    return seeds;
}

// A settings entry and saved accounts with the identifier S-1-5-21-1-2-3-1001.
Seeds SessionSeeds() {
    constexpr std::size_t kFront = 64 + 1 + 596;
    constexpr std::size_t kRecord = 601;
    const ByteList sid{1, 5, 0, 0, 0, 0, 0, 5, 21, 0, 0, 0, 1, 0, 0, 0, 2, 0, 0, 0, 3, 0, 0, 0, 0xE9, 3, 0, 0};
    Seeds seeds = StateSeeds(2, kRecord, kFront);
    for (ByteList& seed : seeds)
        for (std::size_t at : {std::size_t{0}, std::size_t{65 + 8}, kFront, kFront + kRecord})
            if (at + sid.size() <= seed.size()) std::ranges::copy(sid, seed.begin() + static_cast<std::ptrdiff_t>(at));
    for (ByteList& seed : seeds) seed[65] = 1;  // a logon
    return seeds;
}

Seeds ProductSeeds() {
    Seeds seeds = StateSeeds(1, 2642 + 8, 1);
    for (ByteList& seed : seeds) seed[0] = 1;
    return seeds;
}

Seeds KeptIn(std::string_view target) {
    namespace fs = std::filesystem;
    const fs::path folder = fs::path(ProjectFile("fuzz/corpus")) / target;
    std::vector<fs::path> files;
    if (fs::is_directory(folder))
        for (const auto& entry : fs::directory_iterator(folder)) files.push_back(entry.path());
    std::ranges::sort(files);
    Seeds seeds;
    for (const fs::path& file : files) seeds.push_back(ReadWholeFile(file.string()));
    return seeds;
}

Seeds Made(std::string_view target) {
    if (target == "http_request") return PayloadsOf("http", 1);
    if (target == "ftp_command") return PayloadsOf("ftp", 1);
    if (target == "tls_hello") return PayloadsOf("tls", 1);
    if (target == "dns_response") return Behind({0}, PayloadsOf("dns", 1));
    if (target == "ethernet_frame") return FramesOf("mixed_small.pcap", 40);
    if (target == "packet_scan") return Behind({0, 7, 1}, FramesOf("mixed_small.pcap", 40));
    if (target == "smb_frames") return SmbConversations();
    if (target == "url_path") return FromTexts({"/", "", "//a///b/?x=1#y", "a/b", "?q", "/%2e%2e//\xC3\xA4/#", "/a//"});
    if (target == "address_literal")
        return FromTexts({"192.0.2.10", "0xC0.0.02.012", "3221225994", "192.0.2 x", "::", "2001:db8::1",
                          "::ffff:192.0.2.1", "fe80:0:0:0:1:2:3:4", "1:2:3:4:5:6:7::", "255.255.255.255"});
    if (target == "ids_blocked")
        return FromTexts(
            {"\x13\0www.blocked.example/attack/kit.js HTTP/1.1"sv, "\x09\0a.example//a.example//x//y/ HTTP/1.0"sv});
    if (target == "site_rules" || target == "allowed_sites" || target == "url_lists" || target == "threat_lists")
        return ListSeeds();
    if (target == "saved_sessions") return SessionSeeds();
    if (target == "saved_dns_answers") return StateSeeds(3, 292, 3);
    if (target == "product_data") return ProductSeeds();
    if (target == "browser_exclusions") return FromTexts({"\5c\0h\0r\0o\0m\0e\0|\0E\0d\0g\0e\0|\0|\0x\0"sv});
    if (target == "policy_file") return PolicySeeds();
    if (target == "list_file")
        return FromTexts(
            {"\xEF\xBB\xBF# x\r\na.example\r\n*.b.example\nwww.c.example./\nd.example/x # y\n",
             "127.0.0.1 localhost\n0.0.0.0 a.example b.example # c\n::1 d.example\n192.0.2.1 e.example\n",
             "[Adblock]\n! x\n||a.example^\n@@||b.a.example^$important\n||c.example^$script\n##.x\n/r/\n"});
    if (target == "capture_file") return CaptureFiles();
    if (target == "composed_url")
        return FromTexts({"http://www.lantern.example/a/../b?x=1#y", "https://lantern.example:8443/", "192.0.2.10/x",
                          "https://[2001:db8::1]:8443/", "HTTP://u:p@Shop.example:80", "http://a.example/%zz \x7F"});
    if (target == "url_scan") return ScanSeeds();
    if (target == "extension_scan") return ExtensionSeeds();
    if (target == "policy_repair") return PolicySeeds();
    return MadeSeeds(target);
}

}  // namespace

std::vector<ByteList> SeedsOf(std::string_view target) {
    Seeds seeds = Made(target);
    AddAll(seeds, KeptIn(target));
    return seeds;
}

}  // namespace tarn::fuzz
