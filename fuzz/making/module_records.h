// Records as companion modules deliver them, from an input: counts that fit their arrays, chains, texts, right hashes.
// A record that may be odd has what the library has to bear: texts without an end, chains in a loop, no array at all.
// Owns all that its records point to, each block of exactly its size.
#ifndef TARN_FUZZ_MAKING_MODULE_RECORDS_H
#define TARN_FUZZ_MAKING_MODULE_RECORDS_H

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "tarn/companions.h"

#include "target.h"

namespace tarn::fuzz {

class ModuleRecords {
 public:
    explicit ModuleRecords(bool mayBeOdd) : mayBeOdd_(mayBeOdd) {}

    void Take(Pieces& pieces, UrlListRecord& record);
    void Take(Pieces& pieces, ThreatSiteList& record);
    void Take(Pieces& pieces, PhishingSiteList& record);
    void Take(Pieces& pieces, IdsSettingsRecord& record);
    void Take(Pieces& pieces, DnsCacheRecord& record);
    void Take(Pieces& pieces, PcSystemControlRecord& record);
    void Take(Pieces& pieces, PcSettingsRecord& record);

    // How many of the size bytes from at on belong to a block of these records.
    [[nodiscard]] std::size_t Readable(const void* at, std::size_t size) const;
    // Whether something is as only a damaged module would deliver it.
    [[nodiscard]] bool IsOdd() const { return isOdd_; }

    // An account whose identifier ends with that number.
    static void PutSid(std::uint8_t number, std::uint8_t* sid);

 private:
    struct Block {
        std::unique_ptr<std::uint8_t[]> bytes;
        std::size_t size;
    };
    std::uint8_t* AddBlock(std::size_t size);
    template <class Item>
    Item* AddItems(std::size_t count);
    // With a chance, when the records may be odd.
    bool IsNowOdd(Pieces& pieces);
    template <class Entry, class AddNodes>
    void TakeSites(Pieces& pieces, std::uint32_t& count, Entry*& entries, AddNodes addNodes);
    void PutText(Pieces& pieces, std::string_view text, void* field, std::size_t size);
    void PutWideText(Pieces& pieces, void* field, std::size_t units);
    IpAddressRecord TakeAddress(Pieces& pieces);
    void TakeAllowed(Pieces& pieces, UserUrlList& list);
    SiteRule* TakeBlocked(Pieces& pieces);
    void TakeSchedule(Pieces& pieces, DaySchedule& day);
    void TakeUser(Pieces& pieces, std::uint8_t number, PcUserEntryRecord& entry);
    void TakeCategories(Pieces& pieces, CategoryList& list);

    bool mayBeOdd_;
    bool isOdd_ = false;
    std::vector<Block> blocks_;
};

}  // namespace tarn::fuzz

#endif
