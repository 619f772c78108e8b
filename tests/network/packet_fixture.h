// All that a packet scan asks, on the stack of one test: settings, rules, the attacker list, scripted module functions.
#ifndef TARN_TESTS_NETWORK_PACKET_FIXTURE_H
#define TARN_TESTS_NETWORK_PACKET_FIXTURE_H

#include <cstring>
#include <gtest/gtest.h>
#include <string>
#include <vector>

#include "tarn/companions.h"

#include "network/frame_bytes.h"
#include "network/packet_scan.h"
#include "support/verdict_matchers.h"

namespace tarn::network {

// What the scripted modules answer and what they were asked. Plain functions can reach it only as a global.
struct PacketScript {
    bool categoriesAnswer = true;
    bool arrayReturned = true;
    std::vector<std::uint16_t> categories = {2};
    bool signatureAnswer = true;
    std::uint32_t signatureAction = 2;
    std::uint32_t signatureReason = 0;
    std::vector<std::string> journal;
    const std::uint8_t* frame = nullptr;  // what the packet-signature module was handed
    const PacketVerdict* verdict = nullptr;
    std::uint32_t actionOnEntry = 0;
    int unreleased = 0;
};
inline PacketScript* packetScript = nullptr;

inline std::uint8_t TARN_CALL ScriptedCategories(const char* text, std::uint16_t** categories, std::uint16_t* count,
                                                 std::uint32_t mode) {
    PacketScript& script = *packetScript;
    script.journal.push_back("categories " + std::string(text) + " mode " + std::to_string(mode));
    *categories = nullptr;
    *count = static_cast<std::uint16_t>(script.categories.size());
    if (script.arrayReturned) {
        *categories = new std::uint16_t[script.categories.size()];
        std::copy(script.categories.begin(), script.categories.end(), *categories);
        ++script.unreleased;
    }
    return script.categoriesAnswer ? 1 : 0;
}

inline std::uint8_t TARN_CALL ScriptedRelease(std::uint16_t* categories) {
    packetScript->journal.push_back("release");
    delete[] categories;
    --packetScript->unreleased;
    return 1;
}

inline std::uint8_t TARN_CALL ScriptedSignatures(const std::uint8_t* frame, std::uint32_t length, std::uint16_t ruleId,
                                                 std::uint8_t inbound, PacketVerdict* verdict) {
    PacketScript& script = *packetScript;
    script.journal.push_back("signatures length " + std::to_string(length) + " rule " + std::to_string(ruleId) +
                             " inbound " + std::to_string(inbound));
    script.frame = frame;
    script.verdict = verdict;
    script.actionOnEntry = verdict->action;
    verdict->action = script.signatureAction;
    verdict->reason = script.signatureReason;
    return script.signatureAnswer ? 1 : 0;
}

inline IdsRule MakeRule(std::uint16_t id, std::u16string_view name, std::uint8_t excluded = 0) {
    IdsRule rule{};
    rule.id = id;
    rule.excluded = excluded;
    const std::u16string text(name);
    const std::u16string description = text + u" description";
    const std::u16string details = text + u" details";
    std::memcpy(rule.name, text.data(), text.size() * sizeof(char16_t));
    std::memcpy(rule.description, description.data(), description.size() * sizeof(char16_t));
    std::memcpy(rule.details, details.data(), details.size() * sizeof(char16_t));
    return rule;
}

inline bool SetRules(modules::IdsRuleTable& table, std::vector<IdsRule> rules) {
    IdsSettingsRecord record{};
    record.ruleCount = static_cast<std::uint32_t>(rules.size());
    record.rules = rules.data();
    return table.CopySelected(record, 50);
}

// A packed text field as a text, up to its first NUL.
template <class Field>
std::u16string TextOf(const Field& field) {
    std::u16string text(sizeof field / sizeof(char16_t), u'\0');
    std::memcpy(text.data(), &field, sizeof field);
    return text.substr(0, text.find(u'\0'));
}

class PacketScan : public testing::Test {
 protected:
    static constexpr std::uint8_t kUntouched = 0xCC;

    PacketScan() {
        packetScript = &script;
        settings.idsIpsStatus = 1;
        settings.idsIpsFlags = 0x11AB2233;
        companions.categorisation =
            modules::Categorisation{.SCGetURLCategories = ScriptedCategories, .SCReleaseCategories = ScriptedRelease};
        companions.packetSignatures = modules::PacketSignatures{.PKSScanPacket = ScriptedSignatures};
        EXPECT_TRUE(SetRules(settings.idsRules, {MakeRule(7, u"Seven"), MakeRule(9, u"Nine", 1)}));
    }
    ~PacketScan() override {
        EXPECT_EQ(script.unreleased, 0) << "a category list was not released";
        packetScript = nullptr;
    }

    // Scans the first length bytes in a block of their own into a verdict that is all 0xCC before.
    bool ScanFirst(const FrameBytes& bytes, std::size_t length) {
        const ExactBlock block(bytes, length);
        std::memset(&verdict, kUntouched, sizeof verdict);
        script.journal.clear();
        const bool result = ScanPacket({companions, settings, strictness, attackers}, block.Data(),
                                       static_cast<std::uint32_t>(length), ruleId, inbound, verdict);
        handedOn = script.frame == block.Data() && script.verdict == &verdict;
        return result;
    }
    bool Scan(const FrameFields& fields) {
        const FrameBytes bytes = MakeFrame(fields);
        return ScanFirst(bytes, bytes.size());
    }
    FrameFields To(std::uint16_t port) const {
        FrameFields fields;
        fields.destinationPort = port;
        return fields;
    }

    PacketDecision Verdict() const { return DecisionOf(verdict); }
    bool AskedSignaturesOnly() const {
        return script.journal.size() == 1 && script.journal[0].starts_with("signatures ");
    }

    // The verdict that a caller sees when a scan writes exactly what write writes.
    template <class Write>
    PacketVerdict Expected(Write&& write) const {
        PacketVerdict expected;
        std::memset(&expected, kUntouched, sizeof expected);
        write(expected);
        return expected;
    }
    bool VerdictIs(const PacketVerdict& expected) const {
        return std::memcmp(&verdict, &expected, sizeof verdict) == 0;
    }

    PacketScript script;
    modules::Companions companions;
    modules::SettingsState settings;
    std::uint8_t strictness = 0;
    ReportedAttackerList attackers;

    std::uint16_t ruleId = 7;
    std::uint8_t inbound = 1;
    PacketVerdict verdict{};
    bool handedOn = false;  // the packet-signature module got the caller's own frame and verdict
};

}  // namespace tarn::network

#endif
