// The chains of a record split into parts, so that a node that many sites reach is published once.
// Reads the record's nodes; needed only while a list is published, by one thread.
#ifndef TARN_LISTS_CHAIN_PARTS_H
#define TARN_LISTS_CHAIN_PARTS_H

#include <cstddef>
#include <cstdint>
#include <unordered_map>

#include "lists/site_sets.h"

namespace tarn::lists {

// Chains may share their nodes: a whole chain, or a tail that several run into. Of each chain the nodes that only one
// site reaches come first; from the first shared node on all are shared. The own nodes go into sets of that site. The
// shared ones make parts: a part ends where another chain joins, and each is one set. So a list costs as much as it has
// nodes, whatever its chains look like, and a look-up at most what walking the chains of its site costs.
template <class Node>
class ChainParts {
 public:
    explicit ChainParts(std::size_t chains) { places_.reserve(chains); }

    // First every chain of every site; a null chain is none.
    void Note(const Node* chain, std::uint32_t site) {
        bool isNewStep = true;
        for (const Node* node = chain; node != nullptr; node = node->next) {
            const auto [at, isNew] = places_.try_emplace(node, Place{site});
            Place& place = at->second;
            if (isNew) continue;
            if (isNewStep) place.startsPart = true;
            if (place.isShared || place.site == site) return;
            // Known nodes of another site: they and all behind them are shared from now on.
            place.isShared = true;
            isNewStep = false;
        }
    }

    // Then, site by site, each chain again: calls use(node) for the site's own nodes that it has not taken yet. The
    // shared node that follows them starts a part; null when there is none, or when the site has taken it.
    template <class Use>
    const Node* Take(const Node* chain, std::uint32_t site, Use use) {
        for (const Node* node = chain; node != nullptr; node = node->next) {
            Place& place = places_.at(node);
            if (place.takenBy == site) return nullptr;
            place.takenBy = site;
            if (place.isShared) return node;
            use(*node);
        }
        return nullptr;
    }

    // The part that starts with a node, as a set of sets. It and those behind it are published when they are not yet:
    // make(first, end) makes the set of the nodes from first to just before end.
    template <class Make>
    std::uint32_t Publish(const Node* start, SiteSets& sets, Make make) {
        const auto first = static_cast<std::uint32_t>(sets.shared.size());
        const Node* node = start;
        while (node != nullptr && places_.at(node).part == SiteSets::kNone) {
            places_.at(node).part = static_cast<std::uint32_t>(sets.shared.size());
            const Node* const end = EndOfPart(node);
            sets.shared.push_back({make(node, end)});
            node = end;
        }
        if (sets.shared.size() != first)
            sets.LinkShared(first, node == nullptr ? SiteSets::kNone : places_.at(node).part);
        return places_.at(start).part;
    }

    // The first node of the chain that is shared or wanted; null when there is none. For one chain of a site.
    template <class Wanted>
    const Node* FindSharedOr(const Node* chain, Wanted wanted) {
        for (const Node* node = chain; node != nullptr; node = node->next) {
            Place& place = places_.at(node);
            if (place.isShared || wanted(*node)) return node;
            if (place.isSearched) return nullptr;  // a loop
            place.isSearched = true;
        }
        return nullptr;
    }
    [[nodiscard]] bool IsShared(const Node* node) const { return places_.at(node).isShared; }

 private:
    struct Place {
        std::uint32_t site;  // that reached the node first
        std::uint32_t takenBy = SiteSets::kNone;
        std::uint32_t part = SiteSets::kNone;  // of a published part's first node: its set
        bool isShared = false;                 // several sites reach it
        bool startsPart = false;               // chains reach it on several ways
        bool isSearched = false;
    };

    const Node* EndOfPart(const Node* node) const {
        do node = node->next;
        while (node != nullptr && !places_.at(node).startsPart);
        return node;
    }

    std::unordered_map<const Node*, Place> places_;
};

}  // namespace tarn::lists

#endif
