// What the commands that compose a browser's request for each URL share on the command line.
#ifndef TARN_HOST_COMMANDS_URL_OPTIONS_H
#define TARN_HOST_COMMANDS_URL_OPTIONS_H

#include <cstddef>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "host/commands/command.h"
#include "host/composed_request.h"

namespace tarn::host {

inline constexpr std::size_t kShownUrl = 80;  // of one in a message

struct UrlOptions {
    std::vector<std::string> urls;  // as they are named
    std::string server;             // --server

    // What --server says, if anything. False after the mistake was printed.
    [[nodiscard]] bool ParseServer(const Session& session, std::optional<IpAddress>& address) const;
    // Hands on each URL until take returns false; what cannot be read goes to complain.
    void ForEach(const Session& session, const std::function<bool(const std::string& url)>& take,
                 const std::function<void(const std::string& mistake)>& complain) const;
};
void AddUrlOptions(CommandOptions command, UrlOptions& options);

// server: that of each host name. Nothing when no browser would take the URL; mistake then says why.
std::optional<ComposedRequest> ComposeRequestTo(const std::optional<IpAddress>& server, const std::string& url,
                                                const Environment& environment, std::string& mistake);
}  // namespace tarn::host

#endif
