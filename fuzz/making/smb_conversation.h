// A conversation with a file server from an input: requests and responses of SMB1 or SMB2 in frames, and what each
// response has to report. Message and tree numbers are used once, so what follows from a conversation is plain.
#ifndef TARN_FUZZ_MAKING_SMB_CONVERSATION_H
#define TARN_FUZZ_MAKING_SMB_CONVERSATION_H

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "making/marked_bytes.h"
#include "target.h"

namespace tarn::fuzz {

struct MadeFile {
    std::u16string sharePath;
    std::u16string fileName;
    std::uint32_t action = 0;  // as the server says it
};

struct MadeSmbFrame {
    MarkedBytes bytes{};
    bool isInbound = false;
    std::optional<MadeFile> file{};  // that the frame reports
};

std::vector<MadeSmbFrame> TakeSmbConversation(Pieces& pieces);

}  // namespace tarn::fuzz

#endif
