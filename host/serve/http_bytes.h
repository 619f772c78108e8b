// How an HTTP connection reads and writes: pieces of bodies between a parser and two sockets, in fixed room.
// Base of the connection's own class, which is told of each end on its strand unless it has ended itself.
#ifndef TARN_HOST_SERVE_HTTP_BYTES_H
#define TARN_HOST_SERVE_HTTP_BYTES_H

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdint>
#include <fmt/format.h>
#include <limits>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "host/serve/asio.h"
#include "host/serve/beast.h"

namespace tarn::host::serve {

template <class Derived>
class HttpBytes {
 public:
    using Buffer = beast::flat_buffer;
    using Chunk = std::vector<char>;
    enum class Limit { kSilence, kFixed };

    // Of the client's socket.
    explicit HttpBytes(const Strand& strand) : timer_(strand) {}

 protected:
    static constexpr std::size_t kReadAtOnce = 32768;
    static constexpr std::size_t kFirstRead = 2048;  // what an idle connection keeps
    static constexpr std::size_t kUpBody = 16384;
    static constexpr std::size_t kDownBody = 65536;
    static constexpr std::uint64_t kNoLimit = std::numeric_limits<std::uint64_t>::max();  // of a body, never held
    static constexpr std::chrono::seconds kLinger{2};
    static constexpr std::size_t kMostLingering = std::size_t{1024} * 1024;

    // What of the body is there, into room; 0 when more must be read or the body has ended.
    template <class Parser>
    std::size_t ParseBody(Parser& parser, Buffer& from, Chunk& room) {
        parseError_ = {};
        while (!parser.is_done() && from.size() != 0) {
            parser.get().body().data = room.data();
            parser.get().body().size = room.size();
            parser.get().body().more = true;
            ErrorCode error;
            const std::size_t used = parser.put(from.data(), error);
            from.consume(used);
            const std::size_t count = room.size() - parser.get().body().size;
            if (error == http::error::need_buffer) error = {};
            if (error && error != http::error::need_more) parseError_ = error;
            if (count != 0 || parseError_ || error == http::error::need_more) return count;
            if (used == 0) break;
        }
        return 0;
    }

    template <class Call>
    void ReadSome(const std::shared_ptr<Socket>& socket, Buffer& into, Call call) {
        const std::size_t size = into.capacity() == 0 ? kFirstRead : kReadAtOnce;
        const std::size_t room = std::min(size, into.max_size() - into.size());
        if (room == 0) return call(Me(), ErrorCode(http::error::buffer_overflow));
        socket->async_read_some(into.prepare(room), [self = Me().shared_from_this(), socket, &into, call](
                                                        ErrorCode error, std::size_t count) {
            if (self->hasEnded_) return;
            into.commit(count);
            if (count != 0) self->Touch();
            call(*self, count != 0 ? ErrorCode() : error);
        });
    }

    // text stays until it is written.
    template <class Call>
    void WriteText(const std::shared_ptr<Socket>& socket, const std::string& text, Call call) {
        asio::async_write(*socket, asio::buffer(text),
                          [self = Me().shared_from_this(), socket, call](ErrorCode error, std::size_t) {
                              if (self->hasEnded_) return;
                              self->Touch();
                              call(*self, error);
                          });
    }

    // frame: room for what stands before a chunk.
    template <class Call>
    void WriteBody(const std::shared_ptr<Socket>& socket, Chunk& body, std::size_t count, std::string& frame,
                   bool isChunked, Call call) {
        frame = isChunked ? fmt::format("{:x}\r\n", count) : std::string();
        const std::array<asio::const_buffer, 3> parts{asio::buffer(frame), asio::buffer(body.data(), count),
                                                      asio::buffer("\r\n", isChunked ? 2U : 0U)};
        asio::async_write(*socket, parts, [self = Me().shared_from_this(), socket, call](ErrorCode error, std::size_t) {
            if (self->hasEnded_) return;
            self->Touch();
            call(*self, error);
        });
    }

    template <class Call>
    void WriteEnd(const std::shared_ptr<Socket>& socket, bool isChunked, Call call) {
        if (!isChunked) return call(Me(), ErrorCode());
        asio::async_write(*socket, asio::buffer("0\r\n\r\n", 5),
                          [self = Me().shared_from_this(), socket, call](ErrorCode error, std::size_t) {
                              if (self->hasEnded_) return;
                              call(*self, error);
                          });
    }

    // Reads on to the end of the connection and forgets it.
    void ReadRest(const std::shared_ptr<Socket>& socket, Buffer& from) {
        from.consume(from.size());
        ReadSome(socket, from, [socket, &from](Derived& self, ErrorCode error) {
            self.lingered_ += from.size();
            if (error || self.lingered_ > kMostLingering) return self.End();
            self.ReadRest(socket, from);
        });
    }

    static void ResetAtClose(Socket& socket) {
        ErrorCode ignored;
        socket.set_option(asio::socket_base::linger(true, 0), ignored);
    }

    static void Give(const std::vector<std::uint8_t>& bytes, Buffer& buffer) {
        const auto room = buffer.prepare(bytes.size());
        std::copy(bytes.begin(), bytes.end(), static_cast<std::uint8_t*>(room.data()));
        buffer.commit(bytes.size());
    }

    static std::vector<std::uint8_t> Taken(Buffer& buffer) {
        const auto* const bytes = static_cast<const std::uint8_t*>(buffer.data().data());
        std::vector<std::uint8_t> taken(bytes, bytes + buffer.size());
        buffer.consume(buffer.size());
        return taken;
    }

    // An idle connection keeps no room.
    static void Shrink(Buffer& buffer) {
        if (buffer.size() == 0) buffer.shrink_to_fit();
    }

    // Closes the connection unless it is watched anew within so long; bytes that pass prolong a limit of silence.
    void Watch(std::chrono::seconds limit, Limit kind) {
        limit_ = limit;
        limitKind_ = kind;
        active_ = std::chrono::steady_clock::now();
        WaitForLimit();
    }

    void WaitForLimit() {
        timer_.expires_at(active_ + limit_);
        timer_.async_wait([self = Me().shared_from_this()](ErrorCode error) {
            if (error || self->hasEnded_) return;
            if (std::chrono::steady_clock::now() - self->active_ >= self->limit_) return self->End();
            self->WaitForLimit();
        });
    }

    void Touch() {
        if (limitKind_ == Limit::kSilence) active_ = std::chrono::steady_clock::now();
    }

    // What the connections that are made of this one work with.
    // NOLINTBEGIN(misc-non-private-member-variables-in-classes)
    std::chrono::steady_clock::time_point active_;  // when bytes passed, or the limit began
    Limit limitKind_ = Limit::kFixed;
    std::chrono::seconds limit_{0};
    Timer timer_;
    ErrorCode parseError_;
    std::string outText_;  // a head, or an answer of the server's own
    std::string upFrame_;
    std::string downFrame_;
    std::size_t lingered_ = 0;
    bool hasEnded_ = false;
    // NOLINTEND(misc-non-private-member-variables-in-classes)

 private:
    Derived& Me() { return static_cast<Derived&>(*this); }
};

}  // namespace tarn::host::serve

#endif
