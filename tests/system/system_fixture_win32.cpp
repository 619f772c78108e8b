#include "system/system_fixture_win32.h"

#include <cstring>
#include <fstream>
#include <iterator>

#include "tarn/companion_modules.h"

#include "base/hash.h"

namespace tarn::system_test {
namespace {

#define TARN_FILE(module, file, functions) file,
constexpr const char* kModules[] = {TARN_COMPANION_FILES(TARN_FILE)};
#undef TARN_FILE

}  // namespace

SystemFixture::SystemFixture() : answers(*ScriptAnswers()), library_(BuiltTarn()) {
    static unsigned counter = 0;
    EXPECT_TRUE(registry_.IsThere());
    EXPECT_NE(Library(), nullptr) << "tarn.dll does not load: error " << GetLastError();
    ScriptReset();
    folder = OwnFolder() / ("install-" + std::to_string(GetCurrentProcessId()) + "-" + std::to_string(++counter));
    std::filesystem::remove_all(folder);  // a process that was ended leaves its folder
    std::filesystem::create_directories(folder);
    for (const char* module : kModules)
        std::filesystem::copy_file(OwnFolder() / "scripted" / module, folder / module,
                                   std::filesystem::copy_options::overwrite_existing);
    SetInstallPath(folder.u16string() + u"\\");
}

SystemFixture::~SystemFixture() {
    if (Library() != nullptr) tarn.WSDeinit(nullptr);
    EXPECT_EQ(answers.unreleasedCategories, 0) << "a category list was not released";
    EXPECT_TRUE(LoadedCompanions().empty()) << "a companion stays loaded";
    std::error_code ignored;
    std::filesystem::remove_all(folder, ignored);
}

void SystemFixture::RemoveModule(const std::string& file) {
    std::filesystem::remove(folder / file);
}

void SystemFixture::HideExport(const std::string& file, const std::string& function) {
    std::ifstream in(folder / file, std::ios::binary);
    std::string bytes{std::istreambuf_iterator<char>(in), {}};
    in.close();
    // Wherever the name stands as a whole text: in the export table, and where the module journals it.
    const std::string name = '\0' + function + '\0';
    std::size_t hidden = 0;
    for (std::size_t at = bytes.find(name); at != std::string::npos; at = bytes.find(name, at + 1), ++hidden)
        ++bytes[at + name.size() - 2];  // another last letter, which keeps the export names sorted
    ASSERT_GE(hidden, 1U) << function;
    std::ofstream(folder / file, std::ios::binary) << bytes;
}

void SystemFixture::WriteFile(const std::string& name, const std::vector<std::uint8_t>& bytes) {
    WriteFile(name, std::string(bytes.begin(), bytes.end()));
}

void SystemFixture::WriteFile(const std::string& name, const std::string& text) {
    std::ofstream(folder / name, std::ios::binary) << text;
}

void SystemFixture::WriteProductData(std::uint8_t major, std::uint8_t minor) {
    std::vector<std::uint8_t> bytes(8 + 2642);
    bytes[8 + 2634] = major;
    bytes[8 + 2635] = minor;
    const std::uint32_t crc = base::Crc32Of(base::Bytes(bytes).subspan(8));
    std::memcpy(&bytes[4], &crc, sizeof crc);
    WriteFile("PRODCONF.DAT", bytes);
}

bool SystemFixture::Init(std::uint8_t mode) {
    return tarn.WSInit(mode, &error) == 1;
}

void SystemFixture::Deinit() {
    EXPECT_EQ(tarn.WSDeinit(&error), 1);
}

std::vector<std::string> SystemFixture::Journal() {
    std::string text(ScriptJournal(nullptr, 0) + 1, '\0');
    ScriptJournal(text.data(), text.size());
    text.pop_back();
    std::vector<std::string> lines;
    for (std::size_t start = 0; start < text.size();) {
        const std::size_t end = text.find('\n', start);
        lines.push_back(text.substr(start, end - start));
        start = end + 1;
    }
    return lines;
}

std::vector<std::string> SystemFixture::NewLines() {
    std::vector<std::string> lines = Journal();
    lines.erase(lines.begin(), lines.begin() + static_cast<std::ptrdiff_t>(seen_));
    seen_ += lines.size();
    return lines;
}

std::vector<std::string> SystemFixture::LoadedCompanions() {
    std::vector<std::string> loaded;
    for (const char* module : kModules)
        if (GetModuleHandleA(module) != nullptr) loaded.emplace_back(module);
    return loaded;
}

bool SystemFixture::Scan(const std::string& data, std::uint8_t kind) {
    std::vector<std::uint8_t> bytes(data.begin(), data.end());
    bytes.push_back(0xAB);
    ScanRequest request{};
    request.processId = GetCurrentProcessId();
    request.data = bytes.data();
    request.dataLength = static_cast<std::uint32_t>(data.size());
    request.remoteAddress = remote;
    request.remotePort = static_cast<std::uint16_t>((remotePort >> 8) | (remotePort << 8));
    request.stopBeforeCategories = stop;
    request.kind = kind;
    std::memset(&verdict, 0xCD, sizeof verdict);
    prompt = {0xCD, 0xCD};
    return tarn.WSScanUrl(&request, &verdict, &prompt) == 1;
}

std::uint32_t SystemFixture::HashOf(const std::string& host) {
    return base::Crc32Of(host);
}

void SystemFixture::DeliverOneProfile() {
    answers.pcSettings = {};
    answers.pcSettings.mode = TARN_PC_ONE_FOR_ALL;
    answers.pcSettings.entryCount = 1;
    answers.pcSettings.entries = &profile;
}

}  // namespace tarn::system_test
