// The built tarn.dll in an install folder of its own with scripted companions, as a host process would find it.
// Each test loads the library afresh and unloads it again, so that no process-wide state is shared.
#ifndef TARN_TESTS_SYSTEM_SYSTEM_FIXTURE_WIN32_H
#define TARN_TESTS_SYSTEM_SYSTEM_FIXTURE_WIN32_H

#include <cstdint>
#include <filesystem>
#include <gtest/gtest.h>
#include <string>
#include <vector>
#include <windows.h>

#include "tarn/tarn.h"

#include "companions/scripted/companion_script.h"
#include "support/verdict_matchers.h"
#include "system/loaded_tarn_win32.h"
#include "system/private_registry_win32.h"

namespace tarn::system_test {

class SystemFixture : public testing::Test {
 protected:
    SystemFixture();
    ~SystemFixture() override;

    // ---- The install folder ----
    void RemoveModule(const std::string& file);
    // Renames one export in the folder's copy of a module, so that it cannot be bound.
    void HideExport(const std::string& file, const std::string& function);
    void WriteFile(const std::string& name, const std::vector<std::uint8_t>& bytes);
    void WriteFile(const std::string& name, const std::string& text);
    // A product data file of the given version with a right CRC.
    void WriteProductData(std::uint8_t major, std::uint8_t minor);
    void SetInstallPath(const std::u16string& path) { registry_.SetInstallPath({path.begin(), path.end()}); }
    void RemoveInstallPath() { registry_.RemoveInstallPath(); }
    void RegisterAgent(const std::wstring& executable) { registry_.RegisterAgent(executable); }

    // ---- The library ----
    [[nodiscard]] HMODULE Library() const { return library_.Module(); }
    bool Init(std::uint8_t mode = 1);
    void Deinit();
    std::vector<std::string> Journal();
    // The journal's lines since the last call, cleared without touching the answers.
    std::vector<std::string> NewLines();
    static std::vector<std::string> LoadedCompanions();

    bool Scan(const std::string& data, std::uint8_t kind = TARN_KIND_HTTP);
    bool Get(const std::string& host, const std::string& target) {
        return Scan("GET " + target + " HTTP/1.1\r\nHost: " + host + "\r\n\r\n");
    }
    UrlDecision Verdict() const { return DecisionOf(verdict); }

    // One schedule for all users with one entry: the condition under which categories are looked up.
    void DeliverOneProfile();

    // The hash that a site's entry carries.
    static std::uint32_t HashOf(const std::string& host);

    std::filesystem::path folder;
    script::Answers& answers;
    std::uint32_t error = 0;

    UrlVerdict verdict{};
    PromptBytes prompt{};
    std::uint16_t remotePort = 80;
    IpAddressRecord remote{TARN_FAMILY_IPV4, {203, 0, 113, 5}};
    std::uint8_t stop = 0;
    PcUserEntryRecord profile{};

 private:
    PrivateRegistry registry_;
    LoadedTarn library_;
    std::size_t seen_ = 0;

 protected:
    const Exports& tarn = library_.Functions();
};

}  // namespace tarn::system_test

#endif
