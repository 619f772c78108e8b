// Folders, lists, standard input and packed captures on the command line.
#include "host/named_inputs.h"

#include <filesystem>
#include <gmock/gmock.h>
#include <iterator>
#include <set>
#include <sstream>
#ifndef _WIN32
#include <unistd.h>
#endif

#include "host/capture/gzip_input.h"
#include "host/capture_bytes.h"
#include "host/command_runs.h"
#include "host/fake_environment.h"
#include "host/file_bytes.h"
#include "host/file_path.h"
#include "host/temporary_file.h"

namespace tarn::host {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;

constexpr std::size_t kRequestsOfCurl = 37;

ByteList Bytes(const std::string& text) {
    return {text.begin(), text.end()};
}

std::vector<std::string> Names(const std::vector<NamedInput>& inputs) {
    std::vector<std::string> names;
    for (const NamedInput& input : inputs) names.push_back(input.mistake.empty() ? input.name : "! " + input.mistake);
    return names;
}

// A folder with files of these names, empty ones.
class Folder {
 public:
    explicit Folder(const std::vector<std::string>& names) {
        for (const std::string& name : names) {
            const auto path = Path(name);
            std::filesystem::create_directories(path.parent_path());
            std::ofstream(path) << "";
        }
    }
    [[nodiscard]] std::filesystem::path Path(const std::string& name) const {
        return std::filesystem::path(root_.Folder()) / "captures" / ToPath(name);
    }
    [[nodiscard]] std::string Name(const std::string& name) const { return FromPath(Path(name).make_preferred()); }
    [[nodiscard]] std::string Name() const { return FromPath(Path("").parent_path()); }

 private:
    TemporaryFile root_{"x", std::string()};
};

TEST(NamedInputs, AFolderStandsForItsCapturesByName) {
    const Folder folder({"b.pcapng", "a.pcap", "sub/c.CAP", "sub/d.pcap.gz", "notes.txt", "e.pcapx", "gz"});
    EXPECT_THAT(Names(ListCaptures({folder.Name()})),
                ElementsAre(folder.Name("a.pcap"), folder.Name("b.pcapng"), folder.Name("sub/c.CAP"),
                            folder.Name("sub/d.pcap.gz")));
}

TEST(NamedInputs, AFolderWithoutCapturesSaysSo) {
    const Folder folder({"notes.txt"});
    EXPECT_THAT(Names(ListCaptures({folder.Name()})), ElementsAre(HasSubstr("there is no capture in this folder")));
}

std::vector<std::string> Shown(const std::vector<NamedInput>& inputs) {
    std::vector<std::string> shown;
    for (const NamedInput& input : inputs) shown.push_back(input.shown);
    return shown;
}

TEST(NamedInputs, DifferentCapturesAreNeverCalledTheSame) {
    const Folder folder({"a/eth0.pcap", "b/eth0.pcap", "c.pcap", "d/eth0.pcap"});
    EXPECT_THAT(Shown(ListCaptures({folder.Name()})),
                ElementsAre("a/eth0.pcap", "b/eth0.pcap", "c.pcap", "d/eth0.pcap"));
    EXPECT_THAT(Shown(ListCaptures({folder.Name("a"), folder.Name("c.pcap")})), ElementsAre("eth0.pcap", "c.pcap"));
    const std::string a = folder.Path("a/eth0.pcap").generic_string();
    const std::string b = folder.Path("b/eth0.pcap").generic_string();
    EXPECT_THAT(Shown(ListCaptures({folder.Name("a"), b})), ElementsAre(a, b));
    EXPECT_THAT(Shown(ListCaptures({a, a})), ElementsAre("eth0.pcap", "eth0.pcap"));
}

TEST(NamedInputs, VerdictsNameTheCaptureBelowItsFolder) {
    const Folder folder({"a/x.pcap", "b/x.pcap"});
    for (const char* name : {"a/x.pcap", "b/x.pcap"})
        std::ofstream(folder.Path(name), std::ios::binary) << Whole(kCurl);
    FakeEnvironment environment;
    std::set<std::string> captures;
    for (const auto& event : Events(RunWith(environment, {"--json", "replay", folder.Name()}), "verdict"))
        captures.insert(event["capture"].get<std::string>());
    EXPECT_THAT(captures, ElementsAre("a/x.pcap", "b/x.pcap"));
}

TEST(NamedInputs, AThousandCapturesOfAFolderAreReplayed) {
    const Folder folder({"0.pcap"});
    const ByteList header = PcapHeader();
    for (int i = 0; i < 1000; ++i)
        std::ofstream(folder.Path(std::to_string(i) + ".pcap"), std::ios::binary)
            .write(reinterpret_cast<const char*>(header.data()), 24);
    FakeEnvironment environment;
    const Ran run = RunWith(environment, {"replay", "--json", "--quiet", folder.Name()});
    EXPECT_EQ(run.code, 0) << run.errors;
    const auto totals = JsonLines(run.out).back();
    EXPECT_EQ(totals["captures"], 1000);
    EXPECT_EQ(totals["failed_inputs"], 0);
}

#ifndef _WIN32
TEST(NamedInputs, AFolderThatCannotBeReadIsNamedAndTheOthersGoOn) {
    const Folder folder({"a/1.pcap", "b/2.pcap", "c/3.pcap"});
    std::filesystem::permissions(folder.Path("b"), std::filesystem::perms::none);
    const bool isRoot = geteuid() == 0;  // which may read everything
    ASSERT_TRUE(!isRoot || seteuid(65534) == 0);
    const std::vector<std::string> names = Names(ListCaptures({folder.Name()}));
    ASSERT_TRUE(!isRoot || seteuid(0) == 0);
    std::filesystem::permissions(folder.Path("b"), std::filesystem::perms::owner_all);
    EXPECT_THAT(names, ElementsAre(folder.Name("a/1.pcap"), folder.Name("c/3.pcap"),
                                   HasSubstr(folder.Name("b") + ": this folder cannot be read")));
}

TEST(NamedInputs, ALinkToAFolderIsNotFollowed) {
    const Folder folder({"a/1.pcap"});
    std::filesystem::create_directory_symlink(folder.Path("a"), folder.Path("b.pcap"));
    EXPECT_THAT(Names(ListCaptures({folder.Name()})), ElementsAre(folder.Name("a/1.pcap")));
    EXPECT_THAT(Names(ListCaptures({folder.Name("b.pcap")})), ElementsAre(folder.Name("b.pcap/1.pcap")));
}
#endif

TEST(NamedInputs, AListStandsForItsLines) {
    const Folder folder({"sub/c.pcap"});
    const TemporaryFile list("list.txt", "one.pcap\r\n\n-\n" + folder.Name());
    EXPECT_THAT(Names(ListCaptures({"@" + list.Path(), "last"})),
                ElementsAre("one.pcap", "-", folder.Name("sub/c.pcap"), "last"));
    EXPECT_THAT(Names(ListCaptures({"@no-such-list", "@"})),
                ElementsAre(HasSubstr("@no-such-list: the list cannot be opened"), "@"));
}

TEST(NamedInputs, TextsComeFromArgumentsListsAndStandardInput) {
    const TemporaryFile list("list.txt", std::string("b\nc"));
    FakeEnvironment environment;
    environment.input.str("d\r\n\ne\n");
    std::ostringstream out;
    StandardInput input(environment, out);
    std::vector<std::string> texts;
    std::string complaint;
    ForEachText(
        {"a", "@" + list.Path(), "@none", "-", "f"}, input,
        [&](const std::string& text) {
            texts.push_back(text);
            return text != "e";
        },
        [&](const std::string& mistake) { complaint = mistake; });
    EXPECT_THAT(texts, ElementsAre("a", "b", "c", "d", "e"));
    EXPECT_THAT(complaint, HasSubstr("@none"));
}

TEST(NamedInputs, ReplayTakesAFolderAndAList) {
    FakeEnvironment environment;
    const TemporaryFile capture("one.pcap", Whole(kCurl));
    EXPECT_EQ(RunWith(environment, {"replay", capture.Folder()}).code, 0);
    EXPECT_THAT(environment.library.scanned, SizeIs(kRequestsOfCurl));
    const TemporaryFile list("list.txt", capture.Path() + "\n" + capture.Path() + "\n");
    EXPECT_EQ(RunWith(environment, {"replay", "@" + list.Path()}).code, 0);
    EXPECT_THAT(environment.library.scanned, SizeIs(3 * kRequestsOfCurl));
}

TEST(NamedInputs, ThousandsOfUrlsComeFromAListOrStandardInput) {
    std::string urls;
    for (int i = 0; i < 5000; ++i) urls += "http://host" + std::to_string(i) + ".example/\n";
    const TemporaryFile list("urls.txt", urls);
    FakeEnvironment environment;
    environment.input.str(urls);
    EXPECT_EQ(RunWith(environment, {"url", "--brief", "@" + list.Path(), "-"}).code, 0);
    EXPECT_THAT(environment.library.scanned, SizeIs(10000));
}

// ---- gzip ----

TEST(GzipInput, APackedCaptureIsJudgedLikeThePlainOne) {
    FakeEnvironment environment;
    const TemporaryFile capture("one.pcap.gz", Packed(Whole(kCurl)));
    const Ran run = RunWith(environment, {"replay", capture.Path()});
    EXPECT_EQ(run.code, 0) << run.errors;
    EXPECT_THAT(environment.library.scanned, SizeIs(kRequestsOfCurl));
}

TEST(GzipInput, EveryTruncationOfAPackedCaptureIsNamed) {
    const std::string packed = Packed(std::string(reinterpret_cast<const char*>(PcapHeader().data()), 24));
    EXPECT_THAT(ReadAll(Bytes(packed)).error, IsEmpty());
    for (std::size_t length = 4; length < packed.size(); ++length)
        EXPECT_THAT(ReadAll(Bytes(packed.substr(0, length))).error, HasSubstr("the compressed file is cut off"))
            << length;
}

TEST(GzipInput, DamageIsNamed) {
    std::string packed = Packed(Whole(kCurl));
    char& ofCheckSum = packed[packed.size() - 6];
    ofCheckSum = static_cast<char>(ofCheckSum ^ 0x55);
    const ReadResult read = ReadAll(Bytes(packed));
    EXPECT_EQ(read.error, "the compressed file is damaged");
}

TEST(GzipInput, SeveralMembersAreOneStream) {
    const std::string whole = Whole(kCurl);
    const ReadResult plain = ReadAll(Bytes(whole));
    const ReadResult read = ReadAll(Bytes(Packed(whole.substr(0, 1000)) + Packed(whole.substr(1000))));
    EXPECT_THAT(read.error, IsEmpty());
    EXPECT_EQ(read.frames.size(), plain.frames.size());
}

TEST(GzipInput, PackedTwiceIsRefused) {
    EXPECT_THAT(ReadAll(Bytes(Packed(Packed(Whole(kCurl))))).error, HasSubstr("is compressed twice"));
}

}  // namespace
}  // namespace tarn::host
