// The row that reaches the system, and what becomes of the system's answer.
#include <cstring>
#include <gtest/gtest.h>
#include <iphlpapi.h>
#include <stdexcept>
#include <utility>
#include <windows.h>
#include <winsock2.h>

#include "machine/machine_win32.h"
#include "network/connection_drop.h"
#include "network/frame_bytes.h"
#include "network/scripted_iphlpapi/scripted_iphlpapi.h"

namespace tarn::network {
namespace {

class DroppedConnection : public testing::Test {
 protected:
    DroppedConnection() {
        const HMODULE library = GetModuleHandleW(L"iphlpapi.dll");
        const auto scriptOf =
            reinterpret_cast<TcpEntryScriptOfFn*>(reinterpret_cast<void*>(GetProcAddress(library, "TcpEntryScriptOf")));
        if (scriptOf == nullptr) throw std::runtime_error("the system's own iphlpapi.dll was loaded");
        script = scriptOf();
        *script = {};
        std::memset(script->lastRow, 0xCC, sizeof script->lastRow);
        fields.source = kThisMachine;
        fields.destination = kPeer;
        fields.sourcePort = 0xC123;
        fields.destinationPort = 0x01BB;
    }
    bool Drop() { return DropConnection(MakeFrame(fields).data()); }
    bool DropConnection(const std::uint8_t* frame) {
        const auto row = RowOfConnection(frame);
        return row && machine.SetTcpRow(*row);
    }
    MIB_TCPROW LastRow() const {
        MIB_TCPROW row;
        static_assert(sizeof row == sizeof script->lastRow);
        std::memcpy(&row, script->lastRow, sizeof row);
        return row;
    }

    machine::WindowsMachine machine;
    TcpEntryScript* script = nullptr;
    FrameFields fields;
};

TEST_F(DroppedConnection, TheRowReachesTheSystemAsTheFrameHasIt) {
    EXPECT_TRUE(Drop());
    EXPECT_EQ(script->calls, 1U);
    const std::uint8_t expected[] = {12, 0, 0, 0, 192, 0, 2, 10, 0xC1, 0x23, 0, 0, 203, 0, 113, 7, 0x01, 0xBB, 0, 0};
    EXPECT_EQ(std::memcmp(script->lastRow, expected, sizeof expected), 0);
    const MIB_TCPROW row = LastRow();
    EXPECT_EQ(row.dwState, static_cast<DWORD>(MIB_TCP_STATE_DELETE_TCB));
    EXPECT_EQ(row.dwLocalAddr, inet_addr("192.0.2.10"));
    EXPECT_EQ(row.dwRemoteAddr, inet_addr("203.0.113.7"));
    EXPECT_EQ(row.dwLocalPort, htons(0xC123));
    EXPECT_EQ(row.dwRemotePort, htons(0x01BB));
}

TEST_F(DroppedConnection, AnyErrorOfTheSystemIsFalseAndNotTriedAgain) {
    for (const std::uint32_t error : {5U, 65U, 87U, 317U, 0xFFFFFFFFU}) {
        script->answer = error;
        script->calls = 0;
        EXPECT_FALSE(Drop()) << error;
        EXPECT_EQ(script->calls, 1U);
    }
}

TEST_F(DroppedConnection, WithoutATcpFrameTheSystemIsNotCalled) {
    EXPECT_FALSE(DropConnection(nullptr));
    fields.protocol = 17;
    EXPECT_FALSE(Drop());
    EXPECT_EQ(script->calls, 0U);
}

TEST_F(DroppedConnection, PortsStandBehindTheOptions) {
    fields.headerWords = 15;
    EXPECT_TRUE(Drop());
    EXPECT_EQ(LastRow().dwLocalPort, htons(0xC123));
    EXPECT_EQ(LastRow().dwRemotePort, htons(0x01BB));
}

TEST_F(DroppedConnection, AnInboundFrameSwapsTheEnds) {
    std::swap(fields.source, fields.destination);
    std::swap(fields.sourcePort, fields.destinationPort);
    EXPECT_TRUE(Drop());
    EXPECT_EQ(LastRow().dwLocalAddr, inet_addr("203.0.113.7"));
    EXPECT_EQ(LastRow().dwRemotePort, htons(0xC123));
}

}  // namespace
}  // namespace tarn::network
