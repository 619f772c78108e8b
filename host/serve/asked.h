// What a client wants, as a question for the filter.
// Plain values.
#ifndef TARN_HOST_SERVE_ASKED_H
#define TARN_HOST_SERVE_ASKED_H

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "base/byte_reader.h"
#include "host/capture/transport_view.h"
#include "host/protocol_choice.h"
#include "host/unexamined.h"

namespace tarn::host::serve {

// What the library does not look into of what is asked for.
struct Unread {
    Unexamined kind{};
    std::string_view whyNever{};  // a literal: why it does not pass, whatever the settings say; empty when they decide
};

// Before anything of it goes to a server. It is blocked when any of the questions in it is; they make one verdict, one
// event and one count.
struct Asked {
    const Protocol* protocol = nullptr;
    base::Bytes data;  // the client's first bytes: a whole head, hello or command
    Endpoint client;
    Endpoint server;                    // as it is connected, or would be
    std::uint32_t processId = 0;        // of a client on this machine; 0 = not known
    bool isCut = false;                 // more belongs to it, which did not come or is too long
    std::vector<Endpoint> alsoAt{};     // that may be connected instead of server
    std::vector<std::string> alsoAs{};  // other forms of data, by other names of the server
    bool isAlsoAnAddress = false;       // those names are one: it is on no list of sites that are allowed at any time
    std::string standIn{};              // asked when the library does not read data
    bool isStandInCut = false;
    std::optional<Unread> unread{};  // where data stands for something that is not read
    bool isAgain = false;            // of what is open: nothing is counted or told unless it is blocked now
};

}  // namespace tarn::host::serve

#endif
