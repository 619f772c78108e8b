// The records of companion modules: the checks of the companion kit, and what the library makes of them.
#include <algorithm>
#include <cstring>
#include <string>

#include "host/companion_kit/record_checks.h"
#include "lists/published_lists.h"
#include "making/module_records.h"
#include "modules/ids_rules.h"
#include "network/dns_answer_ring.h"
#include "parental/settings_copy.h"
#include "targets.h"

namespace tarn::fuzz {
namespace {

// The blocks of the records and nothing else; the sanitizer sees any step beside them.
class OwnMemory final : public host::RecordMemory {
 public:
    explicit OwnMemory(const ModuleRecords& records) : records_(records) {}
    [[nodiscard]] std::size_t Readable(const void* at, std::size_t size) const override {
        return records_.Readable(at, size);
    }

 private:
    const ModuleRecords& records_;
};

template <class Record>
void RequireChecked(const Record& record, const ModuleRecords& records) {
    const host::RecordFindings findings = host::CheckRecord(record, OwnMemory(records));
    Require(records.IsOdd() || findings.empty(), "a record that is right is found to be right");
    for (const host::RecordFinding& finding : findings)
        Require(!finding.text.empty() && !finding.consequence.empty(), "a finding says what follows from it");
}

// Puts any bytes over the record itself, pointers and counts included: nothing but the checks may look at it then.
template <class Record>
void RequireWildChecked(Pieces& pieces, Record record, const ModuleRecords& records) {
    const Bytes wild = pieces.Take(pieces.Byte() % sizeof record);
    std::memcpy(static_cast<void*>(&record), wild.data(), wild.size());
    (void)host::CheckRecord(record, OwnMemory(records));
}

// Takes the record twice: right, as the checks and the library have to find it, and then with anything in its head.
template <class Record, class Use>
void TakeOne(Pieces& pieces, bool mayBeOdd, Use use) {
    ModuleRecords records(mayBeOdd);
    Record record{};
    records.Take(pieces, record);
    const Record before = record;
    RequireChecked(record, records);
    use(record);
    Require(std::memcmp(&before, &record, sizeof record) == 0, "the library changes no record");
    RequireWildChecked(pieces, record, records);
}

void UseParental(const PcSettingsRecord& record) {
    parental::SettingsCopy copy;
    Require(parental::CopyPcSettings(record, copy), "there is memory");
    Require(copy.entries.size() <= std::max<std::size_t>(record.entryCount, 1), "no entry is made up");
    const auto profiles = lists::PublishProfiles(copy);
    Require(profiles.size() == copy.entries.size(), "every user has a profile");
    IpAddressRecord address{};
    for (const auto& profile : profiles)
        for (const std::uint8_t kind : {std::uint8_t{1}, std::uint8_t{3}}) {
            (void)profile.sites.Match("www.lantern.example", "/a/b/", address, kind);
            (void)profile.allowed.MatchesHost("www.lantern.example", "/a/b/", kind);
            (void)profile.scheduleAllowed.MatchesUrl("lantern.example/a", kind);
        }
}

void UseRules(const IdsSettingsRecord& record) {
    modules::IdsRuleTable table;
    Require(table.CopySelected(record, TARN_SYSTEM_10_0), "there is memory");
    Require(table.Record().ruleCount <= record.ruleCount, "no rule is made up");
    for (std::uint16_t id = 0; id < 400; ++id)
        if (const IdsRule* const rule = table.Find(id)) Require(rule->id == id, "a rule is found by its number");
}

}  // namespace

void ModuleRecord(Bytes input) {
    Pieces pieces(input);
    const std::uint8_t choice = pieces.Byte();
    const bool mayBeOdd = choice >= 0x80;
    switch (choice % 7) {
        case 0:
            return TakeOne<UrlListRecord>(pieces, mayBeOdd, [](const UrlListRecord& record) {
                lists::InternalWhiteList internal;
                lists::UserWhiteList user;
                internal.Publish(record);
                user.Publish(record);
                (void)internal.Matches("www.lantern.example/a");
                (void)user.Matches("lantern.example/a");
            });
        case 1:
            return TakeOne<ThreatSiteList>(pieces, mayBeOdd, [](const ThreatSiteList& record) {
                lists::MaliciousList list;
                list.Publish(record);
                (void)list.Find("lantern.example", "/a");
            });
        case 2:
            return TakeOne<PhishingSiteList>(pieces, mayBeOdd, [](const PhishingSiteList& record) {
                lists::PhishingList list;
                list.Publish(record);
                (void)list.Matches("www.lantern.example", "/a");
            });
        case 3:
            return TakeOne<IdsSettingsRecord>(pieces, mayBeOdd, UseRules);
        case 4:
            return TakeOne<DnsCacheRecord>(pieces, mayBeOdd, [](const DnsCacheRecord& record) {
                if (record.entries == nullptr || record.count == 0) return;
                network::DnsAnswerRing ring;
                Require(ring.Allocate(), "there is memory");
                ring.Restore({record.entries, record.count}, record.writeIndex);
                Require(ring.Saved().writeIndex <= TARN_DNS_RING_SLOTS, "the next slot is one of the ring");
            });
        case 5:
            return TakeOne<PcSystemControlRecord>(pieces, mayBeOdd, [](const PcSystemControlRecord&) {});
        default:
            return TakeOne<PcSettingsRecord>(pieces, mayBeOdd, UseParental);
    }
}

}  // namespace tarn::fuzz
