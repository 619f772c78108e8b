// What SMB1 and SMB2 do alike, case by case in both.
#include <cstring>
#include <gtest/gtest.h>
#include <string>

#include "smb/smb_monitor.h"

namespace tarn::smb {
namespace {

constexpr std::uint16_t kOtherTree = 3;

// The client stands for the owner of trees: an address in SMB1, a session in SMB2.
struct Keys {
    std::uint16_t id = 9;
    std::uint16_t tree = 0xABCD;
    std::uint8_t client = kClientHost;
    std::uint32_t status = 0;
};

struct Dialect {
    const char* name;
    ByteList (*connect)(std::u16string_view path, const Keys& keys);
    ByteList (*connected)(const Keys& keys);
    ByteList (*create)(std::u16string_view name, const Keys& keys);
    ByteList (*created)(std::uint32_t action, const Keys& keys);
    ByteList (*disconnect)(bool isResponse, const Keys& keys);
    ByteList (*logoff)(bool isResponse, const Keys& keys);
    std::size_t (*pending)(const TablesSnapshot& tables);
    std::size_t (*owners)(const TablesSnapshot& tables);
    const TreeTable& (*firstOwner)(const TablesSnapshot& tables);

    friend void PrintTo(const Dialect& dialect, std::ostream* out) { *out << dialect.name; }
};

Smb2Keys Keys2(const Keys& keys) {
    return {
        .messageId = keys.id, .tree = keys.tree, .session = 0x1122334455667700U + keys.client, .status = keys.status};
}

Smb1Keys Keys1(const Keys& keys) {
    return {.mid = keys.id, .tid = keys.tree, .status = keys.status};
}

const Dialect kSmb2 = {
    .name = "Smb2",
    .connect = [](std::u16string_view path, const Keys& keys) { return Smb2TreeConnectRequest(path, Keys2(keys)); },
    .connected = [](const Keys& keys) { return Smb2TreeConnectResponse(Keys2(keys)); },
    .create = [](std::u16string_view name, const Keys& keys) { return Smb2CreateRequest(name, Keys2(keys)); },
    .created = [](std::uint32_t action, const Keys& keys) { return Smb2CreateResponse(action, Keys2(keys)); },
    .disconnect = [](bool isResponse, const Keys& keys) { return Smb2Simple(4, isResponse, Keys2(keys)); },
    .logoff = [](bool isResponse, const Keys& keys) { return Smb2Simple(2, isResponse, Keys2(keys)); },
    .pending = [](const TablesSnapshot& tables) { return tables.smb2Pending.size(); },
    .owners = [](const TablesSnapshot& tables) { return tables.smb2Sessions.size(); },
    .firstOwner = [](const TablesSnapshot& tables) -> const TreeTable& { return FirstOf(tables.smb2Sessions); }};

const Dialect kSmb1 = {
    .name = "Smb1",
    .connect = [](std::u16string_view path, const Keys& keys) { return Smb1TreeConnectRequest(path, Keys1(keys)); },
    .connected = [](const Keys& keys) { return Smb1TreeConnectReply(Keys1(keys)); },
    .create = [](std::u16string_view name, const Keys& keys) { return Smb1CreateRequest(name, Keys1(keys)); },
    .created = [](std::uint32_t action, const Keys& keys) { return Smb1CreateReply(action, Keys1(keys)); },
    .disconnect = [](bool isResponse, const Keys& keys) { return Smb1Simple(0x71, isResponse, Keys1(keys)); },
    .logoff = [](bool isResponse, const Keys& keys) { return Smb1Simple(0x74, isResponse, Keys1(keys)); },
    .pending = [](const TablesSnapshot& tables) { return tables.smb1Pending.size(); },
    .owners = [](const TablesSnapshot& tables) { return tables.smb1Clients.size(); },
    .firstOwner = [](const TablesSnapshot& tables) -> const TreeTable& { return FirstOf(tables.smb1Clients); }};

struct Tracker : testing::TestWithParam<Dialect> {
    bool Asks(const ByteList& message, const Keys& keys = {}) { return monitor.FromClient(message, keys.client); }
    bool Answers(const ByteList& message, const Keys& keys = {}) { return monitor.FromServer(message, keys.client); }

    void Connect(std::u16string_view path = kShare, Keys keys = {}) {
        keys.id = 1;
        ASSERT_TRUE(Asks(smb.connect(path, keys), keys));
        ASSERT_TRUE(Answers(smb.connected(keys), keys));
        ASSERT_TRUE(monitor.SaysNothing());
    }
    // The event of a create that is asked and answered, or nothing.
    std::optional<FileEvent> Create(std::u16string_view name, std::uint32_t action = kCreated, const Keys& keys = {}) {
        EXPECT_TRUE(Asks(smb.create(name, keys), keys));
        answer = Answers(smb.created(action, keys), keys);
        return monitor.Event();
    }
    // What a report of this outcome says of a file on kShare.
    static FileEvent Reported(const std::u16string& file, std::uint16_t action) {
        return {std::u16string(kShare), file, action};
    }
    std::u16string ShareOf(const Keys& keys) { return smb::ShareOf(Create(u"f", kCreated, keys)); }
    std::size_t Pending() { return smb.pending(monitor.Snapshot()); }

    const Dialect& smb = GetParam();
    Monitor monitor;
    bool answer = false;
};

TEST_P(Tracker, ACreatedFileIsReportedWithShareAndName) {
    Connect();
    EXPECT_EQ(Create(u"new.txt"), Reported(u"new.txt", 1));
    EXPECT_TRUE(answer);
    EXPECT_EQ(monitor.result.resultKind, 7U);
    EXPECT_EQ(monitor.result.eventClass, 16U);
    const std::uint8_t server[] = {192, 0, 2, kServerHost};
    const std::uint8_t client[] = {192, 0, 2, kClientHost};
    EXPECT_EQ(std::memcmp(&monitor.result.sourceAddress, server, 4), 0);
    EXPECT_EQ(std::memcmp(&monitor.result.destinationAddress, client, 4), 0);
    EXPECT_EQ(Pending(), 0U);
}

TEST_P(Tracker, TheOutcomeDecidesTheReport) {
    Connect();
    EXPECT_EQ(Create(u"f", 1), std::nullopt) << "opened";
    EXPECT_TRUE(answer);
    EXPECT_TRUE(monitor.SaysNothing());
    EXPECT_EQ(Create(u"f", 3), Reported(u"f", 2));
    EXPECT_EQ(Create(u"f", 0), Reported(u"f", kActionUntouched));
}

TEST_P(Tracker, AnUnknownTreeReportsNothing) {
    EXPECT_EQ(Create(u"f"), std::nullopt);
    EXPECT_FALSE(answer);
    EXPECT_TRUE(monitor.SaysNothing());
    Connect();
    EXPECT_EQ(Create(u"f", kCreated, {.tree = kOtherTree}), std::nullopt);
    EXPECT_FALSE(answer);
    EXPECT_EQ(Create(u"f", kCreated, {.client = kOtherClient}), std::nullopt);
    EXPECT_FALSE(answer);
    EXPECT_EQ(Pending(), 0U);
}

TEST_P(Tracker, ACreateOnAnUnknownTreeMakesItsOwner) {
    EXPECT_FALSE(Answers(smb.logoff(true, {})));
    Create(u"f");
    EXPECT_EQ(smb.owners(monitor.Snapshot()), 1U);
    EXPECT_TRUE(Answers(smb.logoff(true, {})));
    EXPECT_FALSE(Answers(smb.logoff(true, {})));
}

TEST_P(Tracker, ARequestWithAStatusIsRefused) {
    EXPECT_FALSE(Asks(smb.create(u"x", {.status = 1})));
    EXPECT_FALSE(Asks(smb.connect(u"x", {.status = 1})));
    EXPECT_FALSE(Asks(smb.create(u"x", {.status = 0x01000000}))) << "all four bytes count";
    EXPECT_EQ(monitor.Snapshot(), TablesSnapshot{});
}

TEST_P(Tracker, TheFirstRequestUnderAnIdIsKept) {
    Connect();
    EXPECT_TRUE(Asks(smb.create(u"first", {})));
    EXPECT_TRUE(Asks(smb.create(u"second", {.client = kOtherClient}), {.client = kOtherClient}));
    EXPECT_TRUE(Answers(smb.created(kCreated, {})));
    EXPECT_EQ(monitor.Event(), Reported(u"first", 1));
    EXPECT_FALSE(Answers(smb.created(kCreated, {})));
    EXPECT_TRUE(monitor.SaysNothing());
}

TEST_P(Tracker, AFailedOrInterimResponseUsesItsRequestUp) {
    Connect();
    for (const std::uint32_t status : {kStatusFailed, kStatusPending}) {
        EXPECT_TRUE(Asks(smb.create(u"denied", {})));
        EXPECT_EQ(Pending(), 1U);
        EXPECT_FALSE(Answers(smb.created(kCreated, {.status = status})));
        EXPECT_TRUE(monitor.SaysNothing());
        EXPECT_EQ(Pending(), 0U);
        EXPECT_FALSE(Answers(smb.created(kCreated, {})));
        EXPECT_TRUE(monitor.SaysNothing());
    }
}

TEST_P(Tracker, ThePendingRequestDecidesTheBranch) {
    Connect();
    // A create answered as a tree connect records its file and reports nothing.
    EXPECT_TRUE(Asks(smb.create(u"file", {})));
    EXPECT_TRUE(Answers(smb.connected({})));
    EXPECT_TRUE(monitor.SaysNothing());
    const TablesSnapshot tables = monitor.Snapshot();
    EXPECT_EQ(FirstOf(smb.firstOwner(tables)).files.count(u"file"), 1U);
    // A tree connect answered as a create makes a tree.
    EXPECT_TRUE(Asks(smb.connect(u"other", {.tree = kOtherTree})));
    EXPECT_TRUE(Answers(smb.created(kCreated, {.tree = kOtherTree})));
    EXPECT_TRUE(monitor.SaysNothing());
    EXPECT_EQ(ShareOf({.tree = kOtherTree}), u"other");
}

TEST_P(Tracker, AConnectedTreeKeepsItsFirstPath) {
    Connect(u"first");
    Connect(u"second");
    EXPECT_EQ(ShareOf({}), u"first");
    Connect(u"third", {.tree = kOtherTree});
    EXPECT_EQ(ShareOf({.tree = kOtherTree}), u"third");
    Connect(u"fourth", {.client = kOtherClient});
    EXPECT_EQ(ShareOf({.client = kOtherClient}), u"fourth");
}

TEST_P(Tracker, ASecondCreateReusesTheRecordAndReportsAgain) {
    Connect();
    EXPECT_EQ(Create(u"f", 2), Reported(u"f", 1));
    const TablesSnapshot once = monitor.Snapshot();
    EXPECT_EQ(Create(u"f", 3), Reported(u"f", 2));
    EXPECT_EQ(monitor.Snapshot(), once);
    EXPECT_EQ(Create(u"F", 2), Reported(u"F", 1)) << "names differ by case";
    const TablesSnapshot twice = monitor.Snapshot();
    EXPECT_EQ(FirstOf(smb.firstOwner(twice)).files.size(), 2U);
}

TEST_P(Tracker, ATreeDisconnectForgetsOneTree) {
    Connect(u"one", {.tree = 1});
    Connect(u"two", {.tree = 2});
    EXPECT_TRUE(Answers(smb.disconnect(true, {.tree = 1})));
    EXPECT_EQ(Create(u"f", kCreated, {.tree = 1}), std::nullopt);
    EXPECT_EQ(ShareOf({.tree = 2}), u"two");
    EXPECT_FALSE(Answers(smb.disconnect(true, {.tree = 1}))) << "it is gone";
    EXPECT_FALSE(Answers(smb.disconnect(true, {.tree = 2, .client = kOtherClient}), {.client = kOtherClient}));
}

TEST_P(Tracker, ALogoffForgetsOneOwner) {
    Connect(u"one");
    Connect(u"two", {.client = kOtherClient});
    EXPECT_TRUE(Answers(smb.logoff(true, {})));
    EXPECT_EQ(smb.owners(monitor.Snapshot()), 1U);
    EXPECT_EQ(ShareOf({.client = kOtherClient}), u"two");
    EXPECT_FALSE(Answers(smb.logoff(true, {}))) << "it is gone";
}

TEST_P(Tracker, AFailedEndEndsNevertheless) {
    Connect(u"one", {.tree = 1});
    EXPECT_TRUE(Answers(smb.disconnect(true, {.tree = 1, .status = kStatusFailed})));
    EXPECT_EQ(Create(u"f", kCreated, {.tree = 1}), std::nullopt);
    EXPECT_TRUE(Answers(smb.logoff(true, {.status = kStatusFailed})));
    EXPECT_EQ(smb.owners(monitor.Snapshot()), 0U);
}

// Neither a tree nor its owner ends by a request, and no Status makes such a request a refused one.
TEST_P(Tracker, RequestsToEndAreExaminedWhateverTheirStatus) {
    Connect();
    const TablesSnapshot before = monitor.Snapshot();
    for (const std::uint32_t status : {0U, kStatusPending, kStatusFailed}) {
        EXPECT_TRUE(Asks(smb.disconnect(false, {.status = status}))) << status;
        EXPECT_TRUE(monitor.SaysNothing());
        EXPECT_TRUE(Asks(smb.logoff(false, {.status = status}))) << status;
        EXPECT_TRUE(monitor.SaysNothing());
    }
    EXPECT_EQ(monitor.Snapshot(), before);
    EXPECT_EQ(ShareOf({}), kShare);
}

INSTANTIATE_TEST_SUITE_P(BothVersions, Tracker, testing::Values(kSmb2, kSmb1),
                         [](const testing::TestParamInfo<Dialect>& version) { return version.param.name; });

}  // namespace
}  // namespace tarn::smb
