#include "tarn_library.h"

#include <cstring>
#include <mutex>
#include <shared_mutex>
#include <stdexcept>

TarnLibrary::TarnLibrary() {
    std::uint32_t error = 0;
    if (WSInit(TARN_START_RESTART, &error) != 0) return;
    throw std::runtime_error(
        "tarn does not start (error " + std::to_string(error) +
        "). Is the folder of the companion modules registered, with a backslash at its end, as the value \"Path\" of\n"
        "HKEY_LOCAL_MACHINE\\SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\App Paths\\CoreScan.exe,\n"
        "and are setrd.dll, statrd.dll, pktsig.dll and sitecls.dll in it?");
}

TarnLibrary::~TarnLibrary() {
    const std::unique_lock alone(lock_);
    std::uint32_t error = 0;
    WSDeinit(&error);
}

std::optional<UrlVerdict> TarnLibrary::Judge(const std::string& host, const std::string& path,
                                             std::uint32_t processId) {
    // The buffer belongs to this call alone: the scan writes into it, and one byte behind it, which is the string's
    // NUL.
    std::string data = "GET " + path + " HTTP/1.1\r\nHost: " + host + "\r\n\r\n";
    ScanRequest request{};
    request.processId = processId;
    request.data = reinterpret_cast<std::uint8_t*>(data.data());
    request.dataLength = static_cast<std::uint32_t>(data.size());
    request.remoteAddress.family = TARN_FAMILY_IPV4;
    std::memcpy(request.remoteAddress.bytes, "\xC0\x00\x02\x01", 4);  // 192.0.2.1
    request.remotePort = 80 << 8;                                     // port 80 in network byte order
    request.kind = TARN_KIND_HTTP;

    UrlVerdict verdict{};
    PromptBytes prompt{};
    const std::shared_lock scanning(lock_);
    if (WSScanUrl(&request, &verdict, &prompt) == 0) return std::nullopt;
    return verdict;
}

bool TarnLibrary::ReadSettingsAgain() {
    const std::unique_lock alone(lock_);
    return WSSettingsChanged(TARN_SETTINGS_EVERYTHING, 0, 0, 0) != 0;
}
