#include "host/serve/event_hub.h"

#include <utility>

namespace tarn::host::serve {

EventHub::Subscription& EventHub::Subscription::operator=(Subscription&& other) noexcept {
    End();
    hub_ = std::exchange(other.hub_, nullptr);
    number_ = other.number_;
    return *this;
}

void EventHub::Subscription::End() {
    if (hub_ == nullptr) return;
    const std::lock_guard lock(hub_->mutex_);
    hub_->lines_.erase(number_);
    hub_->takes_.erase(number_);
    hub_ = nullptr;
}

EventHub::Subscription EventHub::Subscribe(Line line) {
    const std::lock_guard lock(mutex_);
    const std::uint64_t number = next_++;
    lines_.emplace(number, std::move(line));
    return {*this, number};
}

EventHub::Subscription EventHub::SubscribeEvents(Take take) {
    const std::lock_guard lock(mutex_);
    const std::uint64_t number = next_++;
    takes_.emplace(number, std::move(take));
    return {*this, number};
}

void EventHub::Write(Event event) {
    const auto shared = std::make_shared<const Event>(std::move(event));
    bool wantsLines = false;
    {
        const std::lock_guard lock(mutex_);
        wantsLines = !lines_.empty();
    }
    Send(wantsLines ? EventLine(*shared) : std::string(), shared);
}

void EventHub::WriteLine(const std::string& line) {
    bool wantsEvents = false;
    {
        const std::lock_guard lock(mutex_);
        wantsEvents = !takes_.empty();
    }
    auto event = wantsEvents ? Event::parse(line, nullptr, false) : Event();
    Send(line, event.is_object() ? std::make_shared<const Event>(std::move(event)) : nullptr);
}

// Either may be missing: for those who have come since it was asked who there is.
void EventHub::Send(const std::string& line, const SharedEvent& event) {
    const std::lock_guard lock(mutex_);
    if (!line.empty())
        for (const auto& [number, call] : lines_) call(line);
    if (event)
        for (const auto& [number, call] : takes_) call(event);
}

HubOutput::int_type HubOutput::overflow(int_type character) {
    if (character == traits_type::eof()) return 0;
    if (character == '\n')
        hub_.WriteLine(std::exchange(line_, {}));
    else
        line_ += traits_type::to_char_type(character);
    return character;
}

}  // namespace tarn::host::serve
