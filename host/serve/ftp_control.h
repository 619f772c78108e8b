// An FTP control connection: each command is judged before the server gets it, and a blocked one is answered here.
// The connection owns itself and works on the strand of the client's socket.
#ifndef TARN_HOST_SERVE_FTP_CONTROL_H
#define TARN_HOST_SERVE_FTP_CONTROL_H

#include <memory>
#include <string>

#include "host/serve/ftp_line.h"
#include "host/serve/opening.h"

namespace tarn::host::serve {

// The server speaks first, so it is connected at once. services.ftpData is told of the ports that it offers.
void StartFtpControl(Services& services, ClientSide client, const Target& target);

// What a server said before it was known to be one of FTP.
struct FtpGreeting {
    FtpReplies replies{};   // up to where the client was told
    bool hasEnded = false;  // in them
    std::string held{};     // what the client was not told
};
// The same with a server that is open.
void StartFtpControl(Services& services, ClientSide client, const Target& target, std::shared_ptr<Socket> server,
                     const FtpGreeting& greeting);

}  // namespace tarn::host::serve

#endif
