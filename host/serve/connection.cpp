#include "host/serve/connection.h"

#include <algorithm>
#include <fmt/format.h>

namespace tarn::host::serve {

ConnectionSet::Place& ConnectionSet::Place::operator=(Place&& other) noexcept {
    if (this == &other) return *this;
    Leave();
    set_ = std::exchange(other.set_, nullptr);
    number_ = other.number_;
    return *this;
}

void ConnectionSet::Place::Leave() {
    if (set_ == nullptr) return;
    const std::lock_guard lock(set_->mutex_);
    const auto one = set_->living_.find(number_);
    if (!one->second.isLeaving) --set_->taken_[static_cast<std::size_t>(one->second.room)];
    set_->living_.erase(one);
    if (set_->living_.empty()) set_->empty_.notify_all();
    set_ = nullptr;
}

void ConnectionSet::Place::Belong(const std::shared_ptr<Connection>& connection) {
    if (set_ == nullptr) return;
    bool isDraining = false;
    bool isLeaving = false;
    {
        const std::lock_guard lock(set_->mutex_);
        One& one = set_->living_.at(number_);
        one.connection = connection;
        isDraining = set_->isDraining_;
        isLeaving = one.isLeaving;
    }
    if (isLeaving) return connection->Close();  // the one before it was told, and had handed over
    if (isDraining) connection->Drain();
}

ConnectionSet::Place ConnectionSet::Enter(const IpAddress& client, Room room) {
    std::vector<std::shared_ptr<Connection>> seen;
    std::shared_ptr<Connection> givingBack;
    std::string full;
    Place place;
    {
        const std::lock_guard lock(mutex_);
        std::size_t& taken = taken_[static_cast<std::size_t>(room)];
        const bool isFull = taken >= (room == Room::kPages ? kMostPages : most_);
        if (isFull && !isDraining_) givingBack = GiveBack(client, room, seen);
        if (isDraining_ || (isFull && !givingBack)) {
            ++refused_;
        } else {
            const std::uint64_t number = next_++;
            living_.emplace(number, One{{}, client, room});
            ++taken;
            place = {*this, number};
        }
        if (isFull && !isDraining_) full = WhatIsFull();
    }
    if (givingBack) givingBack->Close();
    if (!full.empty()) tell_(full);
    return place;
}

// With the lock. Its place counts as free from here on.
std::shared_ptr<Connection> ConnectionSet::GiveBack(const IpAddress& client, Room room,
                                                    std::vector<std::shared_ptr<Connection>>& seen) {
    std::map<std::array<std::uint8_t, 17>, std::size_t> held;
    const auto key = [](const IpAddress& address) {
        std::array<std::uint8_t, 17> bytes{};
        std::copy(address.bytes.begin(), address.bytes.end(), bytes.begin());
        bytes.back() = address.isIpv6 ? 1 : 0;
        return bytes;
    };
    for (const auto& [number, one] : living_)
        if (one.room == room && !one.isLeaving) ++held[key(one.client)];
    const auto most =
        std::max_element(held.begin(), held.end(), [](const auto& a, const auto& b) { return a.second < b.second; });
    if (most == held.end()) return nullptr;
    const auto own = held.find(key(client));
    const std::size_t ownCount = own == held.end() ? 0 : own->second;
    One* chosen = nullptr;
    One* oldest = nullptr;
    std::shared_ptr<Connection> found;
    std::shared_ptr<Connection> first;
    std::optional<Connection::Clock::time_point> longest;
    for (auto& [number, one] : living_) {
        if (one.room != room || one.isLeaving || key(one.client) != most->first) continue;
        const auto connection = seen.emplace_back(one.connection.lock());
        if (!connection) continue;
        if (const auto since = connection->IdleSince(); since && (!longest || *since < *longest)) {
            longest = since;
            chosen = &one;
            found = connection;
        }
        if (oldest == nullptr) {
            oldest = &one;
            first = connection;
        }
    }
    const std::size_t share = (room == Room::kPages ? kMostPages : most_) / 4;
    if (chosen == nullptr && ownCount < share && ownCount + 1 < most->second) {
        chosen = oldest;
        found = first;
    }
    if (chosen == nullptr) return nullptr;
    chosen->isLeaving = true;
    --taken_[static_cast<std::size_t>(room)];
    ++givenBack_;
    return found;
}

// With the lock. Empty when it was told a short time ago.
std::string ConnectionSet::WhatIsFull() {
    const auto now = std::chrono::steady_clock::now();
    if (!tell_ || (told_ && now - *told_ < kTellAgain)) return {};
    told_ = now;
    return fmt::format(
        "all {} places for connections are taken; so far {} connections were turned away and {} closed for others: "
        "raise "
        "serve.connections, or find the program that opens so many",
        most_, refused_, givenBack_);
}

std::vector<std::shared_ptr<Connection>> ConnectionSet::Living() const {
    std::vector<std::shared_ptr<Connection>> living;
    const std::lock_guard lock(mutex_);
    for (const auto& [number, one] : living_)
        if (auto connection = one.connection.lock()) living.push_back(std::move(connection));
    return living;
}

std::vector<std::weak_ptr<Connection>> ConnectionSet::All() const {
    std::vector<std::weak_ptr<Connection>> all;
    const std::lock_guard lock(mutex_);
    all.reserve(living_.size());
    for (const auto& [number, one] : living_) all.push_back(one.connection);
    return all;
}

void ConnectionSet::DrainAll() {
    {
        const std::lock_guard lock(mutex_);
        isDraining_ = true;
    }
    for (const auto& connection : Living()) connection->Drain();
}

void ConnectionSet::CloseAll() {
    for (const auto& connection : Living()) connection->Close();
}

bool ConnectionSet::WaitUntilEmpty(std::chrono::milliseconds time) {
    std::unique_lock lock(mutex_);
    return empty_.wait_for(lock, time, [this] { return living_.empty(); });
}

std::size_t ConnectionSet::Count() const {
    const std::lock_guard lock(mutex_);
    return living_.size();
}

std::uint64_t ConnectionSet::Refused() const {
    const std::lock_guard lock(mutex_);
    return refused_;
}

std::uint64_t ConnectionSet::GivenBack() const {
    const std::lock_guard lock(mutex_);
    return givenBack_;
}

Endpoint EndpointOf(const Tcp::endpoint& endpoint) {
    Endpoint result;
    result.port = endpoint.port();
    const asio::ip::address address = endpoint.address();
    if (address.is_v4()) {
        const auto bytes = address.to_v4().to_bytes();
        std::copy(bytes.begin(), bytes.end(), result.address.bytes.begin());
    } else {
        result.address.isIpv6 = true;
        result.address.bytes = address.to_v6().to_bytes();
    }
    return result;
}

asio::ip::address AddressOfEndpoint(const Endpoint& endpoint) {
    const auto& bytes = endpoint.address.bytes;
    if (endpoint.address.isIpv6) return asio::ip::address_v6(bytes);
    return asio::ip::address_v4({bytes[0], bytes[1], bytes[2], bytes[3]});
}

void CloseSocket(Socket& socket) {
    ErrorCode ignored;
    socket.close(ignored);
}

}  // namespace tarn::host::serve
