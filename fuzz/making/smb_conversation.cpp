#include "making/smb_conversation.h"

#include <map>
#include <string_view>
#include <utility>

#include "making/frames.h"

namespace tarn::fuzz {
namespace {

constexpr std::size_t kMostSteps = 24;
constexpr std::size_t kMostUnits = 129;  // of names, so that either version follows them
constexpr std::uint32_t kFailed = 0xC0000022;
constexpr std::uint64_t kSession = 0x1122334455667788;
constexpr std::uint32_t kCreateActions = 6;

// Both versions number commands alike in what the conversation needs of them.
enum class Command : std::uint8_t { kTreeConnect, kCreate, kTreeDisconnect, kLogoff, kOther };

struct Header {
    Command command = Command::kOther;
    bool isResponse = false;
    std::uint32_t status = 0;
    std::uint16_t message = 0;
    std::uint16_t tree = 0;
};

void PutUnits(std::u16string_view text, MarkedBytes& out) {
    for (const char16_t unit : text) out.Put(unit, 2);
}

// ---- SMB2 ([MS-SMB2] 2.2.1.2) ----

void PutSmb2Header(const Header& header, MarkedBytes& out) {
    constexpr std::uint16_t kNumbers[] = {3, 5, 4, 2, 8};
    out.PutMarked(0x424D53FE, 4);
    out.PutMarked(64, 2);
    out.Put(1, 2);
    out.PutMarked(header.status, 4);
    out.PutMarked(kNumbers[static_cast<std::size_t>(header.command)], 2);
    out.Put(1, 2);
    out.PutMarked(header.isResponse ? 1 : 0, 4);
    out.PutMarked(0, 4);  // no message behind it
    out.PutMarked(header.message, 8);
    out.Put(0, 4);
    out.PutMarked(header.tree, 4);
    out.PutMarked(kSession, 8);
    out.PutZeros(16);
}

void PutSmb2Request(const Header& header, std::u16string_view name, MarkedBytes& out) {
    PutSmb2Header(header, out);
    if (header.command == Command::kTreeConnect) {
        out.PutMarked(9, 2);
        out.Put(0, 2);
        out.PutMarked(72, 2);
        const std::size_t length = out.Open(2);
        PutUnits(name, out);
        out.Close(length);
    } else if (header.command == Command::kCreate) {
        out.PutMarked(57, 2);
        out.PutZeros(42);
        out.PutMarked(120, 2);
        const std::size_t length = out.Open(2);
        out.PutZeros(8);
        PutUnits(name, out);
        out.Set(length, name.size() * 2);
        if (name.empty()) out.Put(0, 1);
    } else {
        out.PutMarked(4, 2);
        out.Put(0, 2);
    }
}

void PutSmb2Response(const Header& header, std::uint32_t action, MarkedBytes& out) {
    PutSmb2Header(header, out);
    out.PutMarked(header.command == Command::kCreate ? 89 : 16, 2);
    out.Put(0, 2);
    out.PutMarked(action, 4);
    out.PutZeros(80);
}

// ---- SMB1 ([MS-CIFS] 2.2.3) ----

void PutSmb1Header(const Header& header, std::uint8_t words, MarkedBytes& out) {
    constexpr std::uint8_t kNumbers[] = {0x75, 0xA2, 0x71, 0x74, 0x72};
    out.PutMarked(0x424D53FF, 4);
    out.PutMarked(kNumbers[static_cast<std::size_t>(header.command)], 1);
    out.PutMarked(header.status, 4);
    out.PutMarked(header.isResponse ? 0x88 : 0x08, 1);
    out.PutZeros(14);
    out.PutMarked(header.tree, 2);
    out.Put(0x44EB, 2);
    out.Put(0, 2);
    out.PutMarked(header.message, 2);
    out.PutMarked(words, 1);
}

void PutSmb1Request(const Header& header, std::u16string_view name, MarkedBytes& out) {
    if (header.command == Command::kTreeConnect) {
        PutSmb1Header(header, 4, out);
        out.Put(0xFF, 6);
        out.PutMarked(1, 2);  // bytes of the password
        const std::size_t count = out.Open(2);
        out.Put(0, 1);
        PutUnits(name, out);
        out.Put(0, 2);
        out.PutText("?????");
        out.Put(0, 1);
        out.Close(count);
    } else if (header.command == Command::kCreate) {
        PutSmb1Header(header, 24, out);
        out.Put(0xFF, 5);
        out.PutMarked(name.size() * 2, 2);
        out.PutZeros(41);
        const std::size_t count = out.Open(2);
        out.Put(0, 1);  // so that the name begins at an even place
        PutUnits(name, out);
        out.Put(0, 2);
        out.Close(count);
    } else {
        PutSmb1Header(header, 0, out);
        out.Put(0, 2);
    }
}

void PutSmb1Response(const Header& header, std::uint32_t action, MarkedBytes& out) {
    if (header.command == Command::kCreate) {
        PutSmb1Header(header, 34, out);
        out.Put(0xFF, 7);
        out.PutMarked(action, 4);
        out.PutZeros(57);
        out.Put(0, 2);
    } else {
        PutSmb1Header(header, 3, out);
        out.PutZeros(8);
    }
}

class Conversation {
 public:
    explicit Conversation(Pieces& pieces) : pieces_(pieces), isSmb2_(pieces.Byte() % 2 == 0) {}

    std::vector<MadeSmbFrame> Take() {
        for (std::size_t i = 0; i < kMostSteps && !pieces_.AtEnd(); ++i) Step();
        return std::move(frames_);
    }

 private:
    struct Create {
        std::uint16_t message;
        std::uint16_t tree;
        std::u16string name;
    };

    void Step() {
        const std::uint8_t choice = pieces_.Byte();
        switch (choice % 8) {
            case 0:
                return Connect((choice & 0x80) != 0);
            case 1:
            case 2:
                Ask();
                return Answer(choice);
            case 3:
                return Ask();
            case 4:
                return Answer(choice);
            case 5:
                return Disconnect();
            case 6:
                if ((choice & 0xF0) == 0xF0) return LogOff();
                return Exchange(Command::kOther, 0);
            default:
                return Exchange(Command::kOther, 0);
        }
    }

    std::u16string TakeName() {
        std::u16string name;
        for (const std::uint8_t byte : pieces_.Take(pieces_.Byte() % (kMostUnits + 1)))
            name += static_cast<char16_t>(byte == 0 ? u'a' : byte >= 0xF0 ? 0xD700 + byte * 4 : byte);
        return name;
    }

    // Of a tree that is connected, or 0 when none is.
    std::uint16_t AnyTree() {
        const std::uint8_t choice = pieces_.Byte();
        if (trees_.empty()) return 0;
        auto tree = trees_.begin();
        std::advance(tree, choice % trees_.size());
        return tree->first;
    }

    void Connect(bool isRefused) {
        const std::u16string path = TakeName();
        const std::uint16_t message = nextMessage_++;
        const std::uint16_t tree = nextTree_++;
        Request({Command::kTreeConnect, false, 0, message, 0}, path);
        Respond({Command::kTreeConnect, true, isRefused ? kFailed : 0, message, tree}, 0, {});
        if (!isRefused) trees_[tree] = path;
    }

    void Ask() {
        const std::uint16_t tree = AnyTree();
        Create create{nextMessage_++, tree, TakeName()};
        Request({Command::kCreate, false, 0, create.message, create.tree}, create.name);
        open_.push_back(std::move(create));
    }

    void Answer(std::uint8_t choice) {
        if (open_.empty()) return;
        const Create create = std::move(open_.back());
        open_.pop_back();
        const bool isRefused = (choice & 0xC0) == 0xC0;
        const std::uint32_t action = (choice >> 3) % kCreateActions;
        constexpr std::uint32_t kOpened = 1;
        std::optional<MadeFile> file;
        if (const auto tree = trees_.find(create.tree); tree != trees_.end() && !isRefused && action != kOpened)
            file = MadeFile{tree->second, create.name, action};
        Respond({Command::kCreate, true, isRefused ? kFailed : 0, create.message, create.tree}, action, file);
    }

    void Disconnect() {
        const std::uint16_t tree = AnyTree();
        Exchange(Command::kTreeDisconnect, tree);
        trees_.erase(tree);
    }

    void LogOff() {
        Exchange(Command::kLogoff, 0);
        trees_.clear();
    }

    void Exchange(Command command, std::uint16_t tree) {
        const std::uint16_t message = nextMessage_++;
        Request({command, false, 0, message, tree}, {});
        Respond({command, true, 0, message, tree}, 0, {});
    }

    void Request(const Header& header, std::u16string_view name) {
        MarkedBytes message(ByteOrder::kLittle);
        isSmb2_ ? PutSmb2Request(header, name, message) : PutSmb1Request(header, name, message);
        AddFrame(message, false, std::nullopt);
    }

    void Respond(const Header& header, std::uint32_t action, std::optional<MadeFile> file) {
        MarkedBytes message(ByteOrder::kLittle);
        isSmb2_ ? PutSmb2Response(header, action, message) : PutSmb1Response(header, action, message);
        AddFrame(message, true, std::move(file));
    }

    // The frame's own lengths are left alone here; the message has marks enough.
    void AddFrame(const MarkedBytes& message, bool isInbound, std::optional<MadeFile> file) {
        FramePlan plan;
        plan.source = {{false, {192, 0, 2, isInbound ? std::uint8_t{10} : std::uint8_t{31}}},
                       static_cast<std::uint16_t>(isInbound ? 445 : 45966)};
        plan.destination = {{false, {192, 0, 2, isInbound ? std::uint8_t{31} : std::uint8_t{10}}},
                            static_cast<std::uint16_t>(isInbound ? 45966 : 445)};
        plan.flags = 0x18;
        MadeSmbFrame frame;
        frame.isInbound = isInbound;
        frame.file = std::move(file);
        MarkedBytes payload;
        payload.Put(message.Size(), 4);
        payload.PutBytes(message.All());
        plan.payload = payload.All();
        MarkedBytes whole;
        PutFrame(plan, whole);
        frame.bytes.PutBytes(Bytes(whole.All()).first(whole.Size() - message.Size()));
        frame.bytes.PutAll(message);
        frames_.push_back(std::move(frame));
    }

    Pieces& pieces_;
    bool isSmb2_;
    std::uint16_t nextMessage_ = 1;
    std::uint16_t nextTree_ = 1;
    std::map<std::uint16_t, std::u16string> trees_;  // connected, with their paths
    std::vector<Create> open_;                       // not answered yet
    std::vector<MadeSmbFrame> frames_;
};

}  // namespace

std::vector<MadeSmbFrame> TakeSmbConversation(Pieces& pieces) {
    return Conversation(pieces).Take();
}

}  // namespace tarn::fuzz
