// A TCP port that is listened on: hands each accepted connection, on a strand of its own, to whoever serves it.
// Open and Close are for one thread; what is accepted is handed over on the threads of the io_context.
#ifndef TARN_HOST_SERVE_LISTENER_H
#define TARN_HOST_SERVE_LISTENER_H

#include <functional>
#include <memory>
#include <string>

#include "host/serve/opening.h"

namespace tarn::host::serve {

class Listener : public std::enable_shared_from_this<Listener> {
 public:
    using Serve = std::function<void(ClientSide)>;
    Listener(Services& services, Serve serve, ConnectionSet::Room room = ConnectionSet::Room::kTraffic);

    // False with the reason. endpoint gets the port that the system chose when it is 0.
    bool Open(Endpoint& endpoint, std::string& mistake);
    void Begin();
    void Close();

 private:
    void Accept();
    void AcceptLater();
    void Take(Socket socket);

    Services& services_;
    Serve serve_;
    ConnectionSet::Room room_;
    Strand strand_;
    asio::basic_socket_acceptor<Tcp, Strand> acceptor_;
    Timer timer_;
    Endpoint endpoint_;
};

}  // namespace tarn::host::serve

#endif
