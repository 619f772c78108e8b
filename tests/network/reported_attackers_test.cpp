#include "network/reported_attackers.h"

#include <atomic>
#include <gtest/gtest.h>
#include <memory>
#include <random>
#include <thread>
#include <vector>

#include "network/frame_bytes.h"
#include "network/plain_walk.h"

namespace tarn::network {
namespace {

TEST(ReportedAttackers, StartEmpty) {
    const ReportedAttackerList list;
    EXPECT_FALSE(list.Contains(NumberedAddress(0)));
    EXPECT_FALSE(list.Contains(NumberedAddress(0xFFFFFFFF)));
}

TEST(ReportedAttackers, EveryAddressCanBeOnTheList) {
    ReportedAttackerList list;
    for (const std::uint32_t number : {0U, 1U, 0xFFFFFFFFU, 0x01000000U, 0xCB007107U}) {
        EXPECT_FALSE(list.Contains(NumberedAddress(number)));
        list.Add(NumberedAddress(number));
        EXPECT_TRUE(list.Contains(NumberedAddress(number)));
    }
}

TEST(ReportedAttackers, OnlyTheFourBytesAreCompared) {
    ReportedAttackerList list;
    list.Add(NumberedAddress(0xCB007107));
    IpAddressRecord other = NumberedAddress(0xCB007107);
    other.family = 1;
    other.bytes[4] = 9;
    EXPECT_TRUE(list.Contains(other));
    other.bytes[3] = 8;
    EXPECT_FALSE(list.Contains(other));
}

TEST(ReportedAttackers, TheFiveThousandAndFirstEmptiesTheList) {
    ReportedAttackerList list;
    for (std::uint32_t i = 0; i < 5000; ++i) list.Add(NumberedAddress(i));
    for (std::uint32_t i = 0; i < 5000; ++i) ASSERT_TRUE(list.Contains(NumberedAddress(i)));
    list.Add(NumberedAddress(5000));
    EXPECT_TRUE(list.Contains(NumberedAddress(5000)));
    for (std::uint32_t i = 0; i < 5000; ++i) ASSERT_FALSE(list.Contains(NumberedAddress(i)));
}

// What earlier fillings left behind neither answers nor takes up room: their slots are more than the table has.
TEST(ReportedAttackers, EveryFillingStartsAfresh) {
    ReportedAttackerList list;
    for (std::uint32_t filling = 0; filling < 20; ++filling) {
        for (std::uint32_t i = 0; i < 5000; ++i) list.Add(NumberedAddress(filling * 5000 + i));
        for (std::uint32_t number = 0; number < (filling + 2) * 5000; number += 7)
            ASSERT_EQ(list.Contains(NumberedAddress(number)), number / 5000 == filling) << number;
    }
}

TEST(ReportedAttackers, DuplicatesCount) {
    ReportedAttackerList list;
    list.Add(NumberedAddress(1));
    for (int i = 0; i < 4999; ++i) list.Add(NumberedAddress(2));
    EXPECT_TRUE(list.Contains(NumberedAddress(1)));
    list.Add(NumberedAddress(2));
    EXPECT_FALSE(list.Contains(NumberedAddress(1)));
    EXPECT_TRUE(list.Contains(NumberedAddress(2))) << "added after the list was emptied";
}

// Addresses of one network, far apart, and ones that fall on the same slots: all that a hash can be led astray by.
TEST(ReportedAttackers, AnswersLikeThePlainWalk) {
    std::mt19937 random(20);
    for (const std::uint32_t mask : {0x00000FFFU, 0xFFF00000U, 0x000FF0F0U}) {
        ReportedAttackerList list;
        plain::ReportedAttackerList walk;
        for (int i = 0; i < 12000; ++i) {
            const IpAddressRecord added = NumberedAddress(static_cast<std::uint32_t>(random()) & mask);
            list.Add(added);
            walk.Add(added);
            if (i % 5 != 0) continue;  // the walk is what takes the time
            const IpAddressRecord asked = NumberedAddress(static_cast<std::uint32_t>(random()) & mask);
            ASSERT_EQ(list.Contains(asked), walk.Contains(asked)) << "after " << i + 1 << " insertions";
        }
    }
}

// The worst that a table of open addresses can be given: by its spreading (the factor below) every address belongs to
// the last slot, so that the probes run over the end of the table.
TEST(ReportedAttackers, AddressesOfOneSlotAllFit) {
    std::vector<std::uint32_t> colliding;
    for (std::uint32_t number = 0; colliding.size() < 300; ++number) {
        std::uint32_t stands = 0;
        std::memcpy(&stands, NumberedAddress(number).bytes, 4);
        if (stands * 0x9E3779B1U >= 0xFFFF0000U) colliding.push_back(number);
    }
    ReportedAttackerList list;
    for (std::size_t i = 0; i < colliding.size(); i += 2) list.Add(NumberedAddress(colliding[i]));
    for (std::size_t i = 0; i < colliding.size(); ++i)
        EXPECT_EQ(list.Contains(NumberedAddress(colliding[i])), i % 2 == 0) << i;
}

TEST(ReportedAttackers, ThreadsAddAndAskAtOnce) {
    ReportedAttackerList list;
    std::atomic<int> wrong{0};
    std::vector<std::thread> threads;
    for (std::uint32_t writer = 0; writer < 2; ++writer)
        threads.emplace_back([&list, &wrong, writer] {
            for (std::uint32_t i = 0; i < 1200; ++i) {
                // Each address twice, and by both threads: 4800 insertions of 1200 addresses.
                const IpAddressRecord address = NumberedAddress(0x0A000000 + (writer == 0 ? i : 1199 - i));
                list.Add(address);
                list.Add(address);
                if (!list.Contains(address)) ++wrong;
            }
        });
    for (std::uint32_t reader = 0; reader < 2; ++reader)
        threads.emplace_back([&list, &wrong] {
            for (std::uint32_t i = 0; i < 3000; ++i)
                if (list.Contains(NumberedAddress(0x0B000000 + i))) ++wrong;
        });
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(wrong.load(), 0);
    for (std::uint32_t i = 0; i < 1200; ++i) EXPECT_TRUE(list.Contains(NumberedAddress(0x0A000000 + i)));
    for (std::uint32_t i = 0; i < 200; ++i) list.Add(NumberedAddress(0x0C000000 + i));
    EXPECT_TRUE(list.Contains(NumberedAddress(0x0A000000))) << "5000 insertions so far";
    list.Add(NumberedAddress(0x0C000000));
    EXPECT_FALSE(list.Contains(NumberedAddress(0x0A000000)));
}

}  // namespace
}  // namespace tarn::network
