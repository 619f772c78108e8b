// Finds the addresses of names, by threads of its own because the system waits for its answer. A name that several ask
// for at once is looked up once, one that had no answer is not asked for again at once, and nobody waits long.
// A client gets no more threads and names than it leaves free, so that one with dead names holds up no other.
// Any thread may ask; Stop is for the owner. A thread that the system still holds is left behind at the end.
#ifndef TARN_HOST_SERVE_NAME_LOOKUP_H
#define TARN_HOST_SERVE_NAME_LOOKUP_H

#include <chrono>
#include <cstddef>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "host/capture/ip_address.h"
#include "host/serve/asio.h"

namespace tarn::host::serve {

struct FoundName {
    std::vector<IpAddress> addresses;
    std::string mistake;  // why there are none
};
// As the system finds them; it may take long.
FoundName AskSystem(const std::string& name);

class NameLookup {
 public:
    using Ask = std::function<FoundName(const std::string& name)>;
    using Call = std::function<void(const FoundName&)>;

    struct Limits {
        std::size_t threads = 64;                    // that are begun when they are needed
        std::size_t names = 256;                     // that are looked up or wait for it
        std::chrono::milliseconds wait{10000};       // of one who asks
        std::chrono::milliseconds keptFor{30000};    // an answer
        std::chrono::milliseconds failureFor{5000};  // that there is none
    };

    NameLookup(asio::io_context& io, Ask ask, const Limits& limits);
    NameLookup(asio::io_context& io, Ask ask) : NameLookup(io, std::move(ask), Limits{}) {}
    ~NameLookup();
    NameLookup(const NameLookup&) = delete;
    NameLookup& operator=(const NameLookup&) = delete;

    // name: in small letters; client: whose share of the threads it takes. Calls exactly once, on a thread of the
    // io_context, if that runs.
    void Find(const std::string& name, const IpAddress& client, Call call);
    // Nothing new is begun.
    void Stop();

 private:
    struct State;
    asio::io_context& io_;
    std::shared_ptr<State> state_;  // of the threads, too
};

}  // namespace tarn::host::serve

#endif
