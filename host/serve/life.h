// One run of the server, from its listeners to the totals: follows the policy, reports the session, ends by Ctrl+C.
// Used by one thread.
#ifndef TARN_HOST_SERVE_LIFE_H
#define TARN_HOST_SERVE_LIFE_H

#include <string>

#include "host/judge.h"
#include "host/policy_follower.h"
#include "host/serve/event_hub.h"
#include "host/serve/filter.h"
#include "host/serve/machine_sessions.h"
#include "host/serve/server.h"

namespace tarn::host::serve {

class Life {
 public:
    struct Parts {
        Environment& environment;
        host::Judge& library;
        PolicyFollower& follower;  // that writes events into the hub
        EventHub& hub;
        const ServeSettings& settings;
        std::string policyFile;
    };
    explicit Life(Parts parts);

    // Until Ctrl+C. False with the reason when nothing could be served.
    bool Run(std::string& mistake);

    // Before Run: what connections are given.
    [[nodiscard]] Server& TheServer() { return server_; }

 private:
    void UsePolicy();
    void FollowPolicy();
    void TellStarted();

    Parts parts_;
    Account account_;
    bool hasAccount_;
    Filter filter_;
    SessionReporter sessions_;
    Server server_;
};

// What people want to see of an event, in whole lines: what was blocked or refused, and what became of the policy.
// Empty for the rest. quiet: without what was blocked or refused.
std::string TextForPeople(const Event& event, bool quiet);

}  // namespace tarn::host::serve

#endif
