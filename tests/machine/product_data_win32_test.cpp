// The product file on disk, the agent's registry keys and its service, as processes of their own find them.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "base/hash.h"
#include "machine/facts_program_win32.h"
#include "machine/win32_owners.h"

namespace tarn::machine {
namespace {

using testing::ElementsAre;
using FileBytes = std::vector<std::uint8_t>;

FileBytes ProductFile(std::uint8_t major, std::uint8_t minor) {
    FileBytes record(2642, 0x5A);
    record.at(2634) = major;
    record.at(2635) = minor;
    base::Crc32 crc;
    crc.Add(record);
    FileBytes bytes(4, 0);
    for (int shift = 0; shift < 32; shift += 8) bytes.push_back(static_cast<std::uint8_t>(crc.Value() >> shift));
    bytes.insert(bytes.end(), record.begin(), record.end());
    return bytes;
}

FileBytes Damaged(FileBytes bytes) {
    bytes.at(1000) ^= 1;
    return bytes;
}

class ProductFileOnDisk : public FactsProgram {
 protected:
    // A file of the host folder, or of the install folder, which is made and registered with it.
    void WriteHostFile(const FileBytes& bytes) { (void)WriteFile(folder / "PRODCONF.DAT", bytes); }
    void WriteInstallFile(const FileBytes& bytes) {
        std::filesystem::create_directories(folder / "install");
        SetInstallPath((folder / "install").string() + "\\");
        (void)WriteFile(folder / "install" / "PRODCONF.DAT", bytes);
    }
};

TEST_F(ProductFileOnDisk, VersionOfTheHostFolder) {
    WriteHostFile(ProductFile(12, 3));
    EXPECT_THAT(Run({"version"}), ElementsAre("version 12.3")) << "no install folder is needed";
    WriteInstallFile(ProductFile(5, 1));
    EXPECT_THAT(Run({"version"}), ElementsAre("version 12.3"));
}

TEST_F(ProductFileOnDisk, VersionOfTheInstallFolderWhenTheHostFolderHasNoFile) {
    WriteInstallFile(ProductFile(5, 1));
    EXPECT_THAT(Run({"version"}), ElementsAre("version 5.1"));
    std::filesystem::remove(folder / "install" / "PRODCONF.DAT");
    EXPECT_THAT(Run({"version"}), ElementsAre("version none"));
}

TEST_F(ProductFileOnDisk, WithoutFileOrFolderThereIsNoVersion) {
    EXPECT_THAT(Run({"version", "agent", "managed"}), ElementsAre("version none", "agent 0", "managed 0"));
}

TEST_F(ProductFileOnDisk, ABadFileOfTheHostFolderIsNotPassedOver) {
    WriteHostFile(Damaged(ProductFile(12, 3)));
    WriteInstallFile(ProductFile(5, 1));
    EXPECT_THAT(Run({"version"}), ElementsAre("version none"));
}

TEST_F(ProductFileOnDisk, EveryShortFileFails) {
    const FileBytes good = ProductFile(12, 3);
    std::vector<std::string> commands;
    for (const std::size_t size : {0, 1, 7, 8, 9, 100, 2643, 2649}) {
        commands.emplace_back("read");
        commands.push_back(WriteFile(folder / ("short" + std::to_string(size)),
                                     FileBytes(good.begin(), good.begin() + static_cast<std::ptrdiff_t>(size))));
    }
    EXPECT_THAT(Run(commands), testing::Each(testing::StartsWith("read 0 0.0 ")));
    const std::string whole = WriteFile(folder / "whole", good);
    commands.insert(commands.begin(), {"read", whole});
    const auto lines = Run(commands);
    EXPECT_EQ(lines.size(), 9U);
    EXPECT_EQ(lines.front(), "read 1 12.3 error 0");
    EXPECT_THAT(std::vector<std::string>(lines.begin() + 1, lines.end()),
                testing::Each(testing::StartsWith("read 0 0.0 ")))
        << "also when no check is made any more";
}

TEST_F(ProductFileOnDisk, BadThenGoodThenBad) {
    const std::string missing = (folder / "missing").string();
    const std::string bad = WriteFile(folder / "bad", Damaged(ProductFile(9, 9)));
    const std::string good = WriteFile(folder / "good", ProductFile(1, 2));
    EXPECT_THAT(
        Run({"read", missing, "read", bad, "read", bad, "read", good, "read", bad, "read", missing}),
        ElementsAre("read 0 0.0 error 2", testing::StartsWith("read 0 0.0 "), testing::StartsWith("read 0 0.0 "),
                    "read 1 1.2 error 0", "read 1 9.9 error 0", "read 0 0.0 error 2"));
}

TEST_F(ProductFileOnDisk, AFileOpenForWritingElsewhereCannotBeRead) {
    const std::string path = WriteFile(folder / "busy", ProductFile(1, 2));
    const UniqueFile writer(CreateFileA(path.c_str(), GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr,
                                        OPEN_EXISTING, 0, nullptr));
    ASSERT_TRUE(writer.Owns());
    EXPECT_THAT(Run({"read", path}), ElementsAre("read 0 0.0 error 32"));
}

TEST_F(ProductFileOnDisk, TheAgentIsFoundByItsExecutablesName) {
    const struct {
        std::uint8_t major;
        std::uint8_t minor;
        const char* executable;
    } cases[] = {{5, 1, "HOSTASVC501.EXE"}, {12, 3, "HOSTASVC1203.EXE"}};
    for (const auto& c : cases) {
        WriteHostFile(ProductFile(c.major, c.minor));
        EXPECT_THAT(Run({"agent"}), ElementsAre("agent 0")) << c.executable;
        MakeAppPathKey(c.executable);
        EXPECT_THAT(Run({"agent"}), ElementsAre("agent 0")) << "a key without its value";
        SetAppPath(c.executable, "C:\\agent\\");
        EXPECT_THAT(Run({"agent"}), ElementsAre("agent 1")) << c.executable;
    }
    WriteHostFile(ProductFile(5, 2));
    EXPECT_THAT(Run({"agent"}), ElementsAre("agent 0")) << "another version's agent is not ours";
    SetAppPath("HOSTASVC502.EXE", std::string(300, 'a'));
    EXPECT_THAT(Run({"agent"}), ElementsAre("agent 0")) << "a value that does not fit is a failed query";
}

// A service that lives as long as this object.
class TemporaryService {
 public:
    explicit TemporaryService(const std::string& name)
        : manager_(OpenSCManagerA(nullptr, nullptr, SC_MANAGER_ALL_ACCESS)),
          service_(CreateServiceA(manager_.Get(), name.c_str(), name.c_str(), SERVICE_ALL_ACCESS,
                                  SERVICE_WIN32_OWN_PROCESS, SERVICE_DEMAND_START, SERVICE_ERROR_NORMAL,
                                  "C:\\agent\\agent.exe", nullptr, nullptr, nullptr, nullptr, nullptr)) {}
    ~TemporaryService() { DeleteService(service_.Get()); }
    TemporaryService(const TemporaryService&) = delete;
    TemporaryService& operator=(const TemporaryService&) = delete;
    [[nodiscard]] bool Exists() const { return service_.Owns(); }

 private:
    UniqueService manager_;
    UniqueService service_;
};

TEST_F(ProductFileOnDisk, AManagedClientHasItsAgentsService) {
    // A version of this process's own: the services are the machine's, and tests run side by side.
    const DWORD process = GetCurrentProcessId();
    const auto major = static_cast<std::uint8_t>(100 + process / 156 % 156);
    const auto minor = static_cast<std::uint8_t>(100 + process % 156);
    const std::string version = std::to_string(major) + "." + std::to_string(minor);
    WriteHostFile(ProductFile(major, minor));
    SetAppPath("HOSTASVC" + std::to_string(major) + std::to_string(minor) + ".EXE", "C:\\agent\\");
    EXPECT_THAT(Run({"agent", "managed"}), ElementsAre("agent 1", "managed 0")) << "no service yet";
    {
        const TemporaryService service("CLIENT AGENT " + version);
        ASSERT_TRUE(service.Exists()) << GetLastError();
        EXPECT_THAT(Run({"managed"}), ElementsAre("managed 1"));
        WriteHostFile(ProductFile(major, 99));
        EXPECT_THAT(Run({"managed"}), ElementsAre("managed 0")) << "the service of another version";
        WriteHostFile(ProductFile(major, minor));
    }
    EXPECT_THAT(Run({"managed"}), ElementsAre("managed 0")) << "gone again";
}

}  // namespace
}  // namespace tarn::machine
