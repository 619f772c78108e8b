// Builders that own parental settings records, every list in heap blocks of its exact size, arrays at odd addresses.
#ifndef TARN_TESTS_PARENTAL_RECORD_BUILDERS_H
#define TARN_TESTS_PARENTAL_RECORD_BUILDERS_H

#include <cstdint>
#include <cstring>
#include <memory>
#include <string_view>
#include <vector>

#include "tarn/companions.h"

#include "base/bounded_text.h"

namespace tarn::parental {

// Items behind one spare byte, so that they stand at an odd address, and nothing behind them.
template <class T>
class OddBlock {
 public:
    explicit OddBlock(const std::vector<T>& items) : bytes_(new std::uint8_t[1 + items.size() * sizeof(T)]) {
        if (!items.empty()) std::memcpy(bytes_.get() + 1, items.data(), items.size() * sizeof(T));
    }
    [[nodiscard]] T* Items() { return reinterpret_cast<T*>(bytes_.get() + 1); }

 private:
    std::unique_ptr<std::uint8_t[]> bytes_;
};

// A linked list of separate heap blocks.
template <class Node>
class Chain {
 public:
    Node& Append() {
        nodes_.push_back(std::make_unique<Node>());
        if (nodes_.size() > 1) nodes_[nodes_.size() - 2]->next = nodes_.back().get();
        return *nodes_.back();
    }
    [[nodiscard]] Node* First() { return nodes_.empty() ? nullptr : nodes_.front().get(); }
    [[nodiscard]] Node& operator[](std::size_t index) { return *nodes_[index]; }
    [[nodiscard]] std::size_t Size() const { return nodes_.size(); }

 private:
    std::vector<std::unique_ptr<Node>> nodes_;
};

inline IpAddressRecord RuleIpv4(std::uint32_t number) {
    IpAddressRecord address{};
    std::memcpy(address.bytes, &number, sizeof number);
    return address;
}

inline IpAddressRecord Ipv6(const std::vector<std::uint8_t>& bytes) {
    IpAddressRecord address{};
    address.family = TARN_FAMILY_IPV6;
    std::memcpy(address.bytes, bytes.data(), bytes.size());
    return address;
}

class SiteRules {
 public:
    SiteRule& Add(std::string_view host, std::string_view path = "", std::uint8_t kind = 0, std::uint8_t flag = 0,
                  std::uint8_t extra = 0, const std::vector<IpAddressRecord>& addresses = {}) {
        SiteRule& rule = rules_.Append();
        base::CopyText(rule.host, sizeof rule.host, host);
        base::CopyText(rule.path, sizeof rule.path, path);
        rule.kind = kind;
        rule.flag = flag;
        rule.extra = extra;
        if (!addresses.empty()) {
            rule.addressCount = static_cast<std::uint32_t>(addresses.size());
            rule.addresses = addresses_.emplace_back(addresses).Items();
        }
        return rule;
    }
    [[nodiscard]] const SiteRule* First() { return rules_.First(); }
    [[nodiscard]] Chain<SiteRule>& Nodes() { return rules_; }

 private:
    Chain<SiteRule> rules_;
    std::vector<OddBlock<IpAddressRecord>> addresses_;
};

// A record with one entry per call of AddEntry.
class SettingsOwner {
 public:
    PcUserEntryRecord& AddEntry() {
        entries_.push_back({});
        return entries_.back();
    }
    void SetDay(PcUserEntryRecord& entry, std::size_t day, const std::vector<TimeRange>& ranges) {
        entry.schedule[day] = {static_cast<std::uint32_t>(ranges.size()), ranges_.emplace_back(ranges).Items()};
    }
    CategoryList Categories(const std::vector<std::uint16_t>& categories) {
        return {static_cast<std::uint32_t>(categories.size()), categories_.emplace_back(categories).Items()};
    }
    UserUrlList Sites(const std::vector<std::string_view>& hosts) {
        Chain<UserUrlEntry>& chain = *sites_.emplace_back(std::make_unique<Chain<UserUrlEntry>>());
        for (const std::string_view host : hosts) {
            UserUrlEntry& entry = chain.Append();
            base::CopyText(entry.host, sizeof entry.host, host);
        }
        return {static_cast<std::uint32_t>(hosts.size()), chain.First()};
    }
    SiteRules& Rules() { return *rules_.emplace_back(std::make_unique<SiteRules>()); }

    PcSettingsRecord Record(std::uint8_t mode) {
        block_ = std::make_unique<OddBlock<PcUserEntryRecord>>(entries_);
        PcSettingsRecord record{};
        record.mode = mode;
        record.entryCount = static_cast<std::uint32_t>(entries_.size());
        record.entries = block_->Items();
        return record;
    }

 private:
    std::vector<PcUserEntryRecord> entries_;
    std::unique_ptr<OddBlock<PcUserEntryRecord>> block_;
    std::vector<OddBlock<TimeRange>> ranges_;
    std::vector<OddBlock<std::uint16_t>> categories_;
    std::vector<std::unique_ptr<Chain<UserUrlEntry>>> sites_;
    std::vector<std::unique_ptr<SiteRules>> rules_;
};

}  // namespace tarn::parental

#endif
