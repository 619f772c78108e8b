// Who gets a place when all are taken.
#include <gmock/gmock.h>

#include "host/serve/connection.h"
#include "serve/serve_world.h"

namespace tarn::host::serve {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;

class TestConnection : public Connection {
 public:
    explicit TestConnection(bool isIdle) { isIdle ? BeIdle() : BeBusy(); }
    void CarrySomething() { BeActive(); }
    void Drain() override {}
    void Close() override {
        isClosed = true;
        place.Leave();
    }
    bool isClosed = false;
    ConnectionSet::Place place;
};

class ConnectionSets : public testing::Test {
 protected:
    // Null when there is no place.
    std::shared_ptr<TestConnection> Enter(const char* address, bool isIdle,
                                          ConnectionSet::Room room = ConnectionSet::Room::kTraffic) {
        auto place = set_.Enter(*ParseIpAddress(address), room);
        if (!place) return nullptr;
        auto connection = std::make_shared<TestConnection>(isIdle);
        connection->place = std::move(place);
        connection->place.Belong(connection);
        all_.push_back(connection);
        return connection;
    }
    std::vector<std::size_t> Closed() const {
        std::vector<std::size_t> closed;
        for (std::size_t i = 0; i < all_.size(); ++i)
            if (all_[i]->isClosed) closed.push_back(i);
        return closed;
    }

    ConnectionSet set_{8};
    std::vector<std::shared_ptr<TestConnection>> all_;
};

TEST_F(ConnectionSets, TakeTheLongestIdleOfWhoHoldsMost) {
    EXPECT_TRUE(Enter("192.0.2.1", true));
    EXPECT_TRUE(Enter("192.0.2.2", false));
    for (int i = 0; i < 6; ++i) EXPECT_TRUE(Enter("192.0.2.2", true));
    EXPECT_TRUE(Enter("192.0.2.3", false));
    EXPECT_THAT(Closed(), ElementsAre(2));
    EXPECT_TRUE(Enter("192.0.2.2", false));  // its own
    EXPECT_THAT(Closed(), ElementsAre(2, 3));
    EXPECT_EQ(set_.Count(), 8U);
    EXPECT_EQ(set_.GivenBack(), 2U);
}

TEST_F(ConnectionSets, GiveOthersTheirShareOfPlacesThatAreBusy) {
    for (int i = 0; i < 8; ++i) EXPECT_TRUE(Enter("192.0.2.1", false));
    EXPECT_FALSE(Enter("192.0.2.1", false));
    EXPECT_TRUE(Enter("192.0.2.2", false));
    EXPECT_TRUE(Enter("192.0.2.2", false));
    EXPECT_FALSE(Enter("192.0.2.2", false));  // it has a quarter
    EXPECT_TRUE(Enter("2001:db8::1", false));
    EXPECT_THAT(Closed(), ElementsAre(0, 1, 2));
    EXPECT_EQ(set_.Refused(), 2U);
}

TEST_F(ConnectionSets, KeepPlacesForPages) {
    for (int i = 0; i < 8; ++i) EXPECT_TRUE(Enter("127.0.0.1", false));
    EXPECT_FALSE(Enter("127.0.0.1", false));
    for (std::size_t i = 0; i < ConnectionSet::kMostPages; ++i)
        EXPECT_TRUE(Enter("127.0.0.1", false, ConnectionSet::Room::kPages));
    EXPECT_FALSE(Enter("127.0.0.1", false, ConnectionSet::Room::kPages));
    EXPECT_THAT(Closed(), IsEmpty());
}

TEST_F(ConnectionSets, KeepWhatCarriesSomething) {
    for (int i = 0; i < 8; ++i) ASSERT_TRUE(Enter("192.0.2.1", true));
    for (const auto& one : all_) one->CarrySomething();
    EXPECT_FALSE(Enter("192.0.2.1", false));
    EXPECT_THAT(Closed(), IsEmpty());
    ASSERT_TRUE(Eventually([&] { return all_[7]->IdleSince().has_value(); }));
    EXPECT_TRUE(Enter("192.0.2.1", false));
    EXPECT_THAT(Closed(), ElementsAre(0)) << "what has been silent the longest";
}

TEST_F(ConnectionSets, CloseTheNextProtocolOfAPlaceThatIsGivenAway) {
    std::shared_ptr<TestConnection> first = Enter("192.0.2.1", true);
    for (int i = 0; i < 7; ++i) Enter("192.0.2.1", false);
    class HandedOver : public TestConnection {
     public:
        HandedOver() : TestConnection(true) {}
        void Close() override {}  // too late: it has handed its place over
    };
    // The first one's place goes on to another connection while that is told to close.
    auto before = std::make_shared<HandedOver>();
    first->place.Belong(before);
    EXPECT_TRUE(Enter("192.0.2.1", false));
    auto next = std::make_shared<TestConnection>(false);
    next->place = std::move(first->place);
    next->place.Belong(next);
    EXPECT_TRUE(next->isClosed);
    EXPECT_EQ(set_.Count(), 8U);
}

TEST_F(ConnectionSets, TellOnceThatTheyAreFull) {
    std::vector<std::string> told;
    set_.OnFull([&](const std::string& text) { told.push_back(text); });
    for (int i = 0; i < 8; ++i) Enter("192.0.2.1", true);
    EXPECT_THAT(told, IsEmpty());
    for (int i = 0; i < 3; ++i) Enter("192.0.2.1", true);
    ASSERT_THAT(told, SizeIs(1));
    EXPECT_THAT(told[0], HasSubstr("all 8 places"));
}

TEST_F(ConnectionSets, TakeNobodyAtTheEnd) {
    EXPECT_TRUE(Enter("192.0.2.1", true));
    set_.DrainAll();
    EXPECT_FALSE(Enter("192.0.2.1", true));
    EXPECT_THAT(Closed(), IsEmpty());
}

}  // namespace
}  // namespace tarn::host::serve
