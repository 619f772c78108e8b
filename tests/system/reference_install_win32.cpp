#include "system/reference_install_win32.h"

#include <fstream>
#include <string>

#include "tarn/companion_modules.h"

#include "api/host_threads.h"
#include "system/loaded_tarn_win32.h"

namespace tarn::system_test {
namespace {

#define TARN_FILE(module, file, functions) file,
constexpr const char* kFiles[] = {"tarn.dll", TARN_COMPANION_FILES(TARN_FILE)};
#undef TARN_FILE

std::string Policy() {
    const auto quoted = [](const std::string& text) { return '"' + text + '"'; };
    std::string policy =
        "malicious_patterns = [\"/pattern/redirect\"]\n"
        "[features]\nbrowsing_protection = true\nanti_phishing = true\nintrusion_prevention = true\n"
        "cloud_lookup = true\nhttps_inspection = true\n"
        "[white_lists]\nweb_security = [" +
        quoted(api::kWhiteHost) + "]\n" +
        "user = [\"user.tarn.example/mine\"]\n"
        "[[malicious_sites]]\nhost = " +
        quoted(api::kMaliciousHost) + "\nthreat = \"Soak\"\n" +
        "[[phishing_sites]]\nhost = " + quoted(api::kPhishingHost) + "\n" +
        "[[ids_rules]]\nid = 1\nname = \"Remote desktop\"\ndescription = \"d\"\ndetails = \"d\"\n";
    const auto malicious = [&](const std::string& address) {
        policy += "[[sites]]\naddress = " + quoted(address) + "\ncategories = [2]\n";
    };
    malicious(api::kBlockedHost);
    for (std::size_t i = 0; i < api::kHostThreads; ++i) malicious(api::kAttackerNetwork + std::to_string(40 + i));
    policy +=
        "[parental]\nmode = 1\n"
        "[[parental.users]]\nprofile = true\ncontrolled = true\nuse_hour_grid = true\n"
        "[parental.users.schedule]\non = true\n";
    for (const char* day : {"sunday", "monday", "tuesday", "wednesday", "thursday", "friday", "saturday"})
        policy += std::string(day) + " = [\"00:00-23:59\"]\n";
    return policy;
}

}  // namespace

ReferenceInstall::ReferenceInstall() {
    static unsigned counter = 0;
    folder_ = OwnFolder() / ("reference-" + std::to_string(GetCurrentProcessId()) + "-" + std::to_string(++counter));
    std::filesystem::remove_all(folder_);  // a process that was ended leaves its folder
    std::filesystem::create_directories(folder_);
    // Copies: a link to a module that another test runs at the same time could not be removed.
    for (const char* file : kFiles) std::filesystem::copy_file(BuiltTarn().parent_path() / file, folder_ / file);
    std::ofstream(folder_ / "tarn-policy.toml", std::ios::binary) << Policy();
    // Long at rest, or each start would wait until it is.
    std::error_code ignored;
    const auto longAgo = std::filesystem::file_time_type::clock::now() - std::chrono::hours(1);
    std::filesystem::last_write_time(folder_ / "tarn-policy.toml", longAgo, ignored);
    SetEnvironmentVariableW(L"TARN_STATE_FOLDER", (folder_ / "state").c_str());
    registry_.SetInstallPath(folder_.wstring() + L"\\");
}

ReferenceInstall::~ReferenceInstall() {
    SetEnvironmentVariableW(L"TARN_STATE_FOLDER", nullptr);
    std::error_code ignored;
    std::filesystem::remove_all(folder_, ignored);
}

}  // namespace tarn::system_test
