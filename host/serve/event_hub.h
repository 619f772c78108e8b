// Hands each event to whoever wants it: the file, the standard output, the status page.
// Any thread may write; every subscriber gets all events in one order, and must neither wait nor write itself. Who
// takes events as they are costs no text: a line is made when somebody wants lines, once for all of them.
#ifndef TARN_HOST_SERVE_EVENT_HUB_H
#define TARN_HOST_SERVE_EVENT_HUB_H

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <streambuf>
#include <string>

#include "host/event.h"

namespace tarn::host::serve {

using SharedEvent = std::shared_ptr<const Event>;

class EventHub {
 public:
    using Line = std::function<void(const std::string& line)>;  // without its end
    using Take = std::function<void(const SharedEvent& event)>;

    // Ends the subscription with its life; must not outlive the hub.
    class Subscription {
     public:
        Subscription() = default;
        Subscription(EventHub& hub, std::uint64_t number) : hub_(&hub), number_(number) {}
        ~Subscription() { End(); }
        Subscription(Subscription&& other) noexcept { *this = std::move(other); }
        Subscription& operator=(Subscription&& other) noexcept;
        Subscription(const Subscription&) = delete;
        Subscription& operator=(const Subscription&) = delete;
        void End();

     private:
        EventHub* hub_ = nullptr;
        std::uint64_t number_ = 0;
    };

    [[nodiscard]] Subscription Subscribe(Line line);
    [[nodiscard]] Subscription SubscribeEvents(Take take);
    void Write(Event event);
    // A line that is an event already. Who takes events gets none of a line that is no object.
    void WriteLine(const std::string& line);

 private:
    void Send(const std::string& line, const SharedEvent& event);

    std::mutex mutex_;
    std::map<std::uint64_t, Line> lines_;
    std::map<std::uint64_t, Take> takes_;
    std::uint64_t next_ = 1;
};

// A stream whose lines are events. Used by one thread.
class HubOutput : public std::streambuf {
 public:
    explicit HubOutput(EventHub& hub) : hub_(hub) {}

 protected:
    int_type overflow(int_type character) override;

 private:
    EventHub& hub_;
    std::string line_;
};

}  // namespace tarn::host::serve

#endif
