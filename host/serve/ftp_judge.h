// Judges one FTP session: each command before the server gets it, and the session again while it is open.
// Used by one connection, on its strand.
#ifndef TARN_HOST_SERVE_FTP_JUDGE_H
#define TARN_HOST_SERVE_FTP_JUDGE_H

#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "host/serve/ftp_folder.h"
#include "host/serve/ftp_line.h"
#include "host/serve/named_server.h"

namespace tarn::host::serve {

class FtpJudge {
 public:
    // server: as it is connected, with one address.
    FtpJudge(Filter& filter, NamedServer server) : filter_(filter), server_(std::move(server)) {}

    // What the client is told when the server may not get the command; empty for the others.
    std::string RefusalOf(FtpLine kind, const FtpCommand& command);
    // reply: the last line of the answer to a command by which FtpFolder is told.
    void Answered(const FtpCommand& command, std::string_view reply) { folder_.Answered(command, reply); }

    // By the name of the server and the hosts that commands named. With an event only when one is blocked.
    [[nodiscard]] bool IsBlockedNow() const;

 private:
    std::string RefusalOfHosts(const FtpCommand& command);
    [[nodiscard]] std::string RefusalOfForms(const FtpCommand& command) const;

    Filter& filter_;
    NamedServer server_;
    FtpFolder folder_;
    std::vector<NamedServer> named_;  // by commands
};

}  // namespace tarn::host::serve

#endif
