// The running server: its listeners, its threads, and how it ends.
// Start, Every, Stop and the destructor are for one thread.
#ifndef TARN_HOST_SERVE_SERVER_H
#define TARN_HOST_SERVE_SERVER_H

#include <chrono>
#include <functional>
#include <memory>
#include <string>

#include "host/serve/client_process.h"
#include "host/serve/connection.h"
#include "host/serve/filter.h"
#include "host/serve/serve_settings.h"

namespace tarn::host::serve {

class Server {
 public:
    // read: the system's table of connections, which says whose a client of this machine is. knowsUser: of a process.
    Server(Filter& filter, const ServeSettings& settings, ReadConnections read = ReadSystemConnections,
           KnowsUser knowsUser = KnowsSystemUser);
    ~Server();
    Server(const Server&) = delete;
    Server& operator=(const Server&) = delete;

    // False with the reason, such as a port that is taken; nothing listens then.
    bool Start(std::string& mistake);
    // Again and again until the end, on a thread of the server. Before Start.
    void Every(std::chrono::milliseconds time, std::function<void()> call);
    // What is open is judged by what counts now, and closed when it is blocked: in turn, a few at a time. Any thread,
    // between Start and Stop. It happens from time to time by itself.
    void JudgeAgain();
    // Lets connections end as long as the settings say, then closes what is left; true when nothing was.
    bool Stop();

    // With the ports that the system chose for port 0.
    [[nodiscard]] const ServeSettings& Listening() const { return settings_; }
    // What connections are given; the hooks in it may be set before Start.
    [[nodiscard]] Services& Shared();

 private:
    struct Running;
    void Run();
    bool WaitForConnections();

    Filter& filter_;
    ServeSettings settings_;
    std::unique_ptr<Running> running_;
};

}  // namespace tarn::host::serve

#endif
