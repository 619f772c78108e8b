#include "system/scan_fixture_win32.h"

#include <algorithm>
#include <cstring>

#include "base/hash.h"
#include "machine/win32_owners.h"

namespace tarn::system_test {

std::array<std::uint8_t, 68> OwnIdentifier() {
    std::array<std::uint8_t, 68> identifier{};
    machine::UniqueHandle token;
    EXPECT_TRUE(OpenProcessToken(GetCurrentProcess(), TOKEN_QUERY, token.Out()));
    alignas(TOKEN_USER) unsigned char user[256];
    DWORD size = 0;
    EXPECT_TRUE(GetTokenInformation(token.Get(), TokenUser, user, sizeof user, &size));
    PSID const sid = reinterpret_cast<const TOKEN_USER*>(user)->User.Sid;
    const DWORD length = GetLengthSid(sid);
    EXPECT_LE(length, identifier.size());
    std::memcpy(identifier.data(), sid, std::min<std::size_t>(length, identifier.size()));
    return identifier;
}

std::u16string OwnName() {
    wchar_t name[260] = L"";
    DWORD size = 260;
    EXPECT_TRUE(GetUserNameW(name, &size));
    const std::wstring wide = name;
    EXPECT_FALSE(wide.empty());
    return {wide.begin(), wide.end()};
}

UrlListRecord ScanRecords::ListOf(const std::string& url) {
    auto& entry = urls_.emplace_back();
    entry.fill('\0');
    std::memcpy(entry.data(), url.data(), url.size());
    UrlListRecord record{};
    record.count = 1;
    record.entries = reinterpret_cast<char(*)[TARN_URL_CAPACITY]>(entry.data());
    return record;
}

void ScanRecords::MakeMalicious(const std::string& host, const std::string& threatName) {
    std::string& text = hosts_.emplace_back(host);
    threat_ = {};
    std::memcpy(threat_.name, threatName.data(), threatName.size());
    maliciousSite_ = {1, base::Crc32Of(host), text.data(), &threat_};
    answers.bpStatus = 1;
    answers.bpPrompt = {3, 4};
    answers.bpSettings = {1, &maliciousSite_};
}

void ScanRecords::MakePhishing(const std::string& host) {
    std::string& text = hosts_.emplace_back(host);
    phishingSite_ = {1, base::Crc32Of(host), text.data(), nullptr};
    answers.apStatus = 1;
    answers.apPrompt = {5, 6};
    answers.apSettings = {1, &phishingSite_};
}

void ScanRecords::Categorise(const std::vector<std::uint16_t>& categories) {
    answers.bpPrompt = {3, 4};
    answers.apPrompt = {5, 6};
    answers.categoryCount = static_cast<std::uint16_t>(categories.size());
    std::copy(categories.begin(), categories.end(), answers.categories);
}

void ScanRecords::TakeProfiles(const std::vector<url::ProfileShape>& shapes, std::uint8_t mode) {
    profiles_ = std::make_unique<url::ProfileRecords>(shapes, mode);
    answers.pcSettings = profiles_->Record();
    const std::array<std::uint8_t, 68> own = OwnIdentifier();
    for (std::size_t i = 0; i < shapes.size(); ++i)
        if (shapes[i].sid == 0) std::memcpy(answers.pcSettings.entries[i].leading.sid, own.data(), own.size());
}

void ScanRecords::Schedule(const std::array<TimeRange, 7>& days) {
    days_ = days;
    PcUserEntryRecord& first = answers.pcSettings.entries[0];
    first.leading.scheduleSwitch = 1;
    for (std::size_t day = 0; day < days_.size(); ++day)
        first.schedule[day] = {days_[day].endHour == 0 && days_[day].endMinute == 0 ? 0U : 1U, &days_[day]};
}

void ScanRecords::BlockAddress(const std::string& host, const std::string& requestText) {
    IdsBlockRequest request;
    std::memset(static_cast<void*>(&request), kCallersByte, sizeof request);
    std::memcpy(request.hostName, host.c_str(), host.size() + 1);
    std::memcpy(request.requestText, requestText.c_str(), requestText.size() + 1);
    EXPECT_EQ(tarn.WSAddURLToIDSBlockedList(&request), 1);
}

void ScanRecords::StartAnew() {
    ScriptReset();
    processId = GetCurrentProcessId();
    kind = TARN_KIND_HTTP;
    remotePort = 80;
    remote = {TARN_FAMILY_IPV4, {203, 0, 113, 5}};
    stop = 0;
}

bool ScanRecords::Ask(const std::string& data) {
    const auto block = std::make_unique<std::uint8_t[]>(data.size() + 1);
    std::memcpy(block.get(), data.data(), data.size());
    block[data.size()] = 0xAB;
    ScanRequest request;
    std::memset(static_cast<void*>(&request), kCallersByte, sizeof request);
    request.processId = processId;
    request.data = block.get();
    request.dataLength = static_cast<std::uint32_t>(data.size());
    request.remoteAddress = remote;
    request.remotePort = static_cast<std::uint16_t>((remotePort >> 8) | (remotePort << 8));
    request.stopBeforeCategories = stop;
    request.kind = kind;
    std::memset(static_cast<void*>(&verdict), kCallersByte, sizeof verdict);
    prompt = {kCallersByte, kCallersByte};
    const bool result = tarn.WSScanUrl(&request, &verdict, &prompt) == 1;
    EXPECT_EQ(block[data.size()], 0) << "the spare byte ends the data";
    return result;
}

}  // namespace tarn::system_test
