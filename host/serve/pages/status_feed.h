// What the status page shows, kept as it happens: totals, counts by reason and by site, the state of the policy, and
// the latest verdicts. Its memory is bounded, whatever comes. Any thread may tell and ask.
// A reader that is slower than the verdicts misses some and is told how many; nobody ever waits for one.
#ifndef TARN_HOST_SERVE_PAGES_STATUS_FEED_H
#define TARN_HOST_SERVE_PAGES_STATUS_FEED_H

#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "host/event.h"
#include "host/serve/event_hub.h"

namespace tarn::host::serve {

class StatusReader;

class StatusFeed {
 public:
    static constexpr std::size_t kKeptEvents = 200;  // the latest; older ones are forgotten
    static constexpr std::size_t kMostSites = 1000;  // that are counted; the rarest give way
    static constexpr std::size_t kShownSites = 20;
    static constexpr std::size_t kMostNotes = 50;      // mistakes and warnings of the policy, each
    static constexpr std::size_t kLongestText = 2000;  // bytes of one text of an event; the rest is cut off
    static constexpr std::size_t kMostReaders = 32;

    StatusFeed() = default;
    StatusFeed(const StatusFeed&) = delete;
    StatusFeed& operator=(const StatusFeed&) = delete;

    // An event as docs/events.schema.json describes it; verdicts, what is not examined, the policy; others are left
    // out. It is counted and kept as it is; text is made of it when a reader takes it.
    void Add(const SharedEvent& event);
    void Add(Event event) { Add(std::make_shared<const Event>(std::move(event))); }

    // What is known now, as one object.
    [[nodiscard]] Event State() const;

    // wake: called from any thread, outside of all locks, when there is something to take again; not before the first
    // Take. It must not throw and may still be called once after the reader is gone. Null when there are too many.
    std::shared_ptr<StatusReader> Open(std::function<void()> wake);

 private:
    friend class StatusReader;
    struct Kept {
        std::uint64_t number;
        SharedEvent event;
    };
    void CountVerdict(const Event& event);
    void TakePolicy(const Event& event);
    void CountSite(const std::string& host);

    mutable std::mutex mutex_;
    std::uint64_t nextNumber_ = 0;
    std::deque<Kept> kept_;
    std::map<std::string, std::uint64_t> verdicts_;  // by "blocked", "refused", "allowed" and "none"
    struct Reason {
        std::string text;
        std::uint64_t count = 0;
    };
    std::map<std::uint32_t, Reason> reasons_;     // of what was blocked
    std::map<std::string, std::uint64_t> sites_;  // that were blocked
    std::string policyFile_;
    bool isPolicyKept_ = false;
    bool waitsForRestart_ = false;  // the table [serve] has changed
    std::string whyKept_;
    std::vector<Event> mistakes_;
    std::vector<Event> warnings_;
    std::vector<std::weak_ptr<StatusReader>> readers_;
};

// One open page. The feed must outlive it; one thread at a time.
class StatusReader {
 public:
    StatusReader(StatusFeed& feed, std::function<void()> wake) : feed_(feed), wake_(std::move(wake)) {}

    // What happened since it was last asked, as server-sent events; empty when nothing did.
    std::string Take();

 private:
    friend class StatusFeed;
    StatusFeed& feed_;
    std::function<void()> wake_;
    std::uint64_t next_ = 0;  // under the feed's lock, as the one below
    bool isWaiting_ = false;  // for wake
};

}  // namespace tarn::host::serve

#endif
