// A policy that includes lists, with the real library and modules.
#include <filesystem>
#include <fstream>
#include <gmock/gmock.h>
#include <iterator>

#include "host/install_copy_win32.h"
#include "host/running_program_win32.h"

namespace tarn::host {
namespace {

using nlohmann::json;
using testing::Contains;
using testing::HasSubstr;

constexpr const char* kIncluding =
    "include = [\"lists/*.txt\", { files = \"phish.hosts\", list = \"phishing_sites\" }]\n"
    "[features]\nbrowsing_protection = true\nanti_phishing = true\n";

class InstalledLists : public testing::Test {
 protected:
    InstalledLists() {
        std::filesystem::create_directory(install_.File("lists"));
        install_.Write("lists/ads.txt", "||ads.example^\r\n||other.example^\r\n@@||other.example^\r\n");
        install_.Write("phish.hosts", "0.0.0.0 phish.example\n");
        install_.Write(kPolicy, kIncluding);
    }
    // "verdict reason text"
    [[nodiscard]] std::string Judge(const std::string& url) const {
        const ProgramRun run = install_.Run({"url", "--json", url});
        EXPECT_EQ(run.exitCode, 0U) << run.errors;
        for (const json& line : run.Json())
            if (line["type"] == "verdict")
                return std::to_string(line["reason"].get<int>()) + " " + line.value("rule_text", "");
        return "no verdict";
    }

    InstallCopy install_;
};

TEST_F(InstalledLists, TheirSitesAreBlocked) {
    EXPECT_THAT(Judge("http://www.ads.example/x"), testing::StartsWith("2 ads: "));
    EXPECT_THAT(Judge("http://phish.example/"), testing::StartsWith("0 "));
    EXPECT_THAT(Judge("http://other.example/"), testing::StartsWith("26 ")) << "an exception";
    const ProgramRun run = install_.Run({"policy"});
    EXPECT_THAT(run.out, HasSubstr("phish.hosts: 1 entry for phishing_sites"));
}

TEST_F(InstalledLists, AChangedListHoldsForTheRestOfTheStream) {
    std::ifstream input(CapturePath("http_curl.pcap"), std::ios::binary);
    const std::string capture{std::istreambuf_iterator<char>(input), {}};
    RunningProgram watch(install_, {"watch", "--json", "--map", "10.20.30.10=192.0.2.10", "-"});
    watch.Write(capture.substr(0, capture.size() / 2));
    json line = watch.NextLine("verdict");
    ASSERT_TRUE(line.is_object());
    EXPECT_NE(line["reason"], 2);

    install_.Write("lists/new.txt", "lantern.example\n");
    line = watch.NextLine("policy");
    ASSERT_TRUE(line.is_object());
    EXPECT_THAT(line.dump(), testing::AllOf(HasSubstr("malicious_sites[lists/new.txt]"),
                                            HasSubstr("WSUpdateSettingsChanged(0x40)")));
    watch.Write(capture.substr(capture.size() / 2));
    watch.EndInput();
    std::vector<int> reasons;
    while ((line = watch.NextLine("verdict")).is_object()) reasons.push_back(line["reason"]);
    EXPECT_THAT(reasons, Contains(2));
    EXPECT_EQ(watch.End(), 0U);
}

}  // namespace
}  // namespace tarn::host
