// A library of facts for URL scan tests: settings, lists and scripted module functions, all on the stack of one test.
#ifndef TARN_TESTS_URL_SCAN_FIXTURE_H
#define TARN_TESTS_URL_SCAN_FIXTURE_H

#include <cstring>
#include <gtest/gtest.h>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "tarn/companions.h"

#include "base/hash.h"
#include "fakes/clocks.h"
#include "profile_records.h"
#include "scan_fakes.h"
#include "support/scan_inputs.h"
#include "support/verdict_matchers.h"
#include "url/url_scan.h"

namespace tarn::url {

// What the scripted modules answer and what they were asked. Plain functions can reach it only as a global.
struct ModuleScript {
    bool categoriesAnswer = true;
    std::vector<std::uint16_t> categories;
    bool patternAnswer = true;
    std::uint8_t patternFlag = 0;
    bool nameAnswer = true;
    std::vector<std::string> journal;
    int unreleased = 0;
};
inline ModuleScript* moduleScript = nullptr;

inline std::uint8_t TARN_CALL GetCategories(const char* text, std::uint16_t** categories, std::uint16_t* count,
                                            std::uint32_t mode) {
    moduleScript->journal.push_back("categories " + std::string(text) + " mode " + std::to_string(mode));
    *categories = nullptr;
    *count = static_cast<std::uint16_t>(moduleScript->categories.size());
    if (!moduleScript->categories.empty()) {
        *categories = new std::uint16_t[moduleScript->categories.size()];
        std::copy(moduleScript->categories.begin(), moduleScript->categories.end(), *categories);
        ++moduleScript->unreleased;
    }
    return moduleScript->categoriesAnswer ? 1 : 0;
}

inline std::uint8_t TARN_CALL ReleaseCategories(std::uint16_t* categories) {
    moduleScript->journal.push_back("release");
    delete[] categories;
    --moduleScript->unreleased;
    return 1;
}

inline std::uint8_t TARN_CALL GetCategoryName(std::uint16_t, char16_t* buffer, std::uint32_t capacity) {
    EXPECT_EQ(capacity, 100U);
    std::copy_n(u"name", 5, buffer);
    return moduleScript->nameAnswer ? 1 : 0;
}

inline std::uint8_t TARN_CALL CheckPattern(std::uint8_t kind, const char* host, const char* path, std::uint16_t port,
                                           std::uint8_t* malicious) {
    moduleScript->journal.push_back("pattern " + std::to_string(kind) + " " + host + " " + path + " port " +
                                    std::to_string(port));
    *malicious = moduleScript->patternFlag;
    return moduleScript->patternAnswer ? 1 : 0;
}

class ScanFixture : public testing::Test, protected ScanInputs {
 protected:
    ScanFixture() {
        moduleScript = &script;
        quarantineScript = &quarantine;
        EXPECT_TRUE(dnsRing.Allocate());
        settings.bpPrompt = {11, 12};
        settings.apPrompt = {21, 22};
        companions.categorisation = modules::Categorisation{.SCGetURLCategories = GetCategories,
                                                            .SCGetCategoryName = GetCategoryName,
                                                            .SCReleaseCategories = ReleaseCategories};
        companions.urlPatterns = modules::UrlPatterns{.WSCheckURLMaliciousPattern = CheckPattern};
        remote.bytes[0] = 203;
        remote.bytes[2] = 113;
        remote.bytes[3] = 5;
    }
    ~ScanFixture() override {
        EXPECT_EQ(script.unreleased, 0) << "a category list was not released";
        EXPECT_EQ(quarantine.loads, quarantine.frees) << "the quarantine module was not freed";
        moduleScript = nullptr;
        quarantineScript = nullptr;
    }

    // One-schedule-for-all parental settings with one entry: the condition under which categories are looked up.
    void LookUpCategories() {
        PcUserEntryRecord entry{};
        PcSettingsRecord record{};
        record.mode = TARN_PC_ONE_FOR_ALL;
        record.strictness = strictness;
        record.entryCount = 1;
        record.entries = &entry;
        ASSERT_TRUE(parental::CopyPcSettings(record, parental));
        profiles = lists::PublishProfiles(parental);
    }

    void TakeProfiles(const std::vector<ProfileShape>& shapes, std::uint8_t mode = TARN_PC_ONE_FOR_ALL) {
        const ProfileRecords records(shapes, mode, strictness);
        ASSERT_TRUE(parental::CopyPcSettings(records.Record(), parental));
        profiles = lists::PublishProfiles(parental);
    }

    void PublishUrls(lists::InternalWhiteList& list, const std::vector<std::string>& patterns) {
        WithUrlRecord(patterns, [&](const UrlListRecord& record) { list.Publish(record); });
    }
    void PublishUserUrls(const std::vector<std::string>& patterns) {
        WithUrlRecord(patterns, [&](const UrlListRecord& record) { lists.user.Publish(record); });
    }

    void PublishMalicious(const std::string& host, bool wholeSite, const std::vector<ThreatNode>& nodes) {
        std::vector<ThreatNode> chain = nodes;
        for (std::size_t i = 0; i + 1 < chain.size(); ++i) chain[i].next = &chain[i + 1];
        std::string text = host;
        ThreatSiteEntry entry{static_cast<std::uint8_t>(wholeSite), base::Crc32Of(host), text.data(),
                              chain.empty() ? nullptr : chain.data()};
        lists.malicious.Publish(ThreatSiteList{1, &entry});
    }
    static ThreatNode Threat(const std::string& name, const std::string& path) {
        ThreatNode node{};
        std::memcpy(node.name, name.data(), name.size());
        std::memcpy(node.path, path.data(), path.size());
        return node;
    }
    void PublishPhishing(const std::string& host, bool wholeSite) {
        std::string text = host;
        PhishingSiteEntry entry{static_cast<std::uint8_t>(wholeSite), base::Crc32Of(host), text.data(), nullptr};
        lists.phishing.Publish(PhishingSiteList{1, &entry});
    }

    // Scans a copy of data in its own heap block with the one spare byte that a scan writes behind it.
    bool Scan(const std::string& data) {
        const auto block = std::make_unique<std::uint8_t[]>(data.size() + 1);
        std::memcpy(block.get(), data.data(), data.size());
        block[data.size()] = 0xAB;
        ScanRequest request{};
        request.processId = 4711;
        request.data = block.get();
        request.dataLength = static_cast<std::uint32_t>(data.size());
        request.remoteAddress = remote;
        request.remotePort = static_cast<std::uint16_t>((port >> 8) | (port << 8));
        request.stopBeforeCategories = stop;
        request.kind = kind;
        std::memset(&verdict, 0xCD, sizeof verdict);
        prompt = {0xCD, 0xCD};
        const bool result = ScanUrl(Context(), request, verdict, prompt, &endedBy);
        scanned.assign(reinterpret_cast<const char*>(block.get()), data.size() + 1);
        return result;
    }
    bool Get(const std::string& host, const std::string& target) {
        return Scan("GET " + target + " HTTP/1.1\r\nHost: " + host + "\r\n\r\n");
    }

    UrlDecision Verdict() const { return DecisionOf(verdict); }
    std::u16string UserName() const {
        std::array<char16_t, 260> name;
        std::memcpy(name.data(), verdict.userName, sizeof verdict.userName);
        return std::u16string(base::FieldText(name));
    }
    bool UserNameUntouched() const { return verdict.userName[0] == 0xCDCD; }
    bool PromptIs(std::uint8_t report, std::uint8_t promptByte) const {
        return prompt.report == report && prompt.prompt == promptByte;
    }
    bool PromptUntouched() const { return PromptIs(0xCD, 0xCD); }

    ModuleScript script;
    QuarantineScript quarantine;
    ScanContext Context() { return ScanInputs::Context(system, processes, clock); }

    QuarantineModules system;
    AskedProcesses processes;
    fakes::FixedClock clock;
    std::uint8_t strictness = 0;

    IpAddressRecord remote{};
    std::uint16_t port = 80;
    std::uint8_t kind = TARN_KIND_HTTP;
    std::uint8_t stop = 0;
    UrlVerdict verdict{};
    PromptBytes prompt{};
    std::string_view endedBy;  // the rule that ended the last scan
    std::string scanned;       // the caller's buffer after the scan, the spare byte included

 private:
    template <class Use>
    static void WithUrlRecord(const std::vector<std::string>& patterns, Use&& use) {
        std::vector<char> block(patterns.size() * TARN_URL_CAPACITY);
        for (std::size_t i = 0; i < patterns.size(); ++i)
            std::memcpy(&block[i * TARN_URL_CAPACITY], patterns[i].data(), patterns[i].size());
        UrlListRecord record{};
        record.count = static_cast<std::uint32_t>(patterns.size());
        record.entries = reinterpret_cast<char(*)[TARN_URL_CAPACITY]>(block.data());
        use(record);
    }
};

}  // namespace tarn::url

#endif
