// Which kind of scan the bytes of a conversation get: one table of protocols.
#ifndef TARN_HOST_PROTOCOL_CHOICE_H
#define TARN_HOST_PROTOCOL_CHOICE_H

#include <cstdint>
#include <string_view>

#include "base/byte_reader.h"
#include "host/request_view.h"

namespace tarn::host {

// What one side said, before anybody knows in which protocol.
struct Utterance {
    base::Bytes data;
    std::uint16_t serverPort = 0;
    bool isTcp = true;
    bool fromClient = true;
};

struct Protocol {
    std::string_view name;
    std::uint8_t kind;  // of the scan request
    bool (*fits)(const Utterance&);
    RequestView (*view)(base::Bytes);
};

// The first row that fits, or null for what no scan is made for.
const Protocol* ChooseProtocol(const Utterance& utterance);

// For requests that tarnhost composes itself.
const Protocol& HttpProtocol();
const Protocol& TlsProtocol();

}  // namespace tarn::host

#endif
