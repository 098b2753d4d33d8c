// The in-process network and the wireless adapter model stand in for real
// adapters in every screen and procedure test: events that ran during a
// delay, or a socket that heard of an error too soon, would make those tests
// prove nothing. (A reply cut off mid-way: the wireless Summary's fault
// table; the same rules on a real socket: wireless_end_to_end_test.cpp.)
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "adapters/wireless/modWLP.h"
#include "models/wireless_model.h"
#include "doubles/virtual_clock.h"
#include "doubles/virtual_tcp.h"
#include "support/watched_socket.h"

using namespace lp;
using namespace lp::sim;
using namespace lp::test;

namespace {

struct VirtualTcp : ::testing::Test {
    VirtualClock clock;
    VirtualTcpNetwork net{clock};
    WirelessModel model;
    // Connects `w` and runs messages until it is connected.
    bool connected(WatchedSocket& w)
    {
        return w.socket->connect() && clock.waitUntil([&] { return w.socket->state() == 7; }, 1000);
    }
};

} // namespace

TEST_F(VirtualTcp, EventsRunOnlyWhileMessagesRun)
{
    net.setLatencyMs(5);
    net.addDevice("127.0.0.2", model);
    WatchedSocket w(net, "127.0.0.2");

    EXPECT_FALSE(w.socket->sendData(kAskIdentity));
    ASSERT_TRUE(w.socket->connect());
    EXPECT_EQ(w.socket->state(), 6);
    EXPECT_FALSE(w.socket->connect());
    clock.sleepMilliseconds(100);
    EXPECT_EQ(model.connectionCount(), 1); // the device moves on during a delay...
    EXPECT_EQ(w.socket->state(), 6);        // ...the program hears of it only from a message
    clock.pumpMessages();
    ASSERT_EQ(w.socket->state(), 7);

    ASSERT_TRUE(w.socket->sendData(kAskIdentity));
    clock.sleepMilliseconds(100);
    EXPECT_TRUE(w.arrivals.empty());
    clock.pumpMessages();
    EXPECT_EQ(w.arrivals, std::vector<int32_t>{15});
    EXPECT_EQ(WLPParseIdentityText(w.take()), "01.04.0007");

    // Bytes that arrived during a delay can be taken without any message;
    // the event that would have announced them then finds nothing to say.
    ASSERT_TRUE(w.socket->sendData(kAskDecimalVersion));
    clock.sleepMilliseconds(100);
    EXPECT_EQ(WLPParseDecimalVersion(w.socket->getData()), "1.10");
    clock.pumpMessages();
    EXPECT_EQ(w.arrivals.size(), 1u);

    // Closed with an answer on its way, then destroyed with events pending:
    // nothing arrives, nothing is left to run.
    ASSERT_TRUE(w.socket->sendData(kAskIdentity));
    w.socket->close();
    EXPECT_EQ(w.socket->state(), 0);
    clock.runFor(100);
    EXPECT_TRUE(w.socket->getData().empty());
    EXPECT_FALSE(model.isConnected());
    ASSERT_TRUE(connected(w));
    ASSERT_TRUE(w.socket->sendData(kAskIdentity));
    w.socket.reset();
    clock.runFor(100);
    EXPECT_EQ(w.arrivals.size(), 1u);
    EXPECT_FALSE(model.isConnected());
}

TEST_F(VirtualTcp, RefusedConnectionsAreAnErrorMessageWithTheWindowsNumber)
{
    model.setFault(WirelessFault::RefuseConnections);
    net.addDevice("127.0.0.3", model);
    for (const char* address : {"127.0.0.9", "127.0.0.3"}) { // nobody there; an adapter that refuses
        SCOPED_TRACE(address);
        WatchedSocket w(net, address);
        ASSERT_TRUE(w.socket->connect());
        clock.sleepMilliseconds(100);
        EXPECT_EQ(w.socket->state(), 6);
        EXPECT_TRUE(w.errors.empty());
        clock.pumpMessages();
        EXPECT_EQ(w.socket->state(), 9);
        ASSERT_EQ(w.errors.size(), 1u);
        EXPECT_EQ(w.errors[0], std::make_pair(10061, std::string("The connection was refused by the remote host")));
        EXPECT_FALSE(w.socket->connect()); // not from the error state
    }
    WatchedSocket again(net, "127.0.0.3");
    model.setFault(WirelessFault::None);
    EXPECT_TRUE(connected(again));
}

TEST_F(VirtualTcp, WirelessModelAnswersFramesCutAnywhere)
{
    // The identity text is padded to ten characters on the wire.
    WirelessModel booting({.identityText = "BOOT 2.1", .hexVersion = {0x02, 0x0A, 0xFF}, .decimalMajor = 3,
                           .decimalMinor = 0});
    net.addDevice("127.0.0.4", booting);
    WatchedSocket w(net, "127.0.0.4");
    ASSERT_TRUE(connected(w));
    auto ask = [&](const Bytes& request) {
        w.socket->sendData(request);
        clock.runFor(50);
        return w.take();
    };

    // Noise, a frame with a bad check byte, then a frame cut in three.
    w.socket->sendData({0x00, 0x5E, 0xFF, 0x5E, 0x02, 0x0D, 0x01, 0x93, 0x5E});
    w.socket->sendData({0x02, 0x0D});
    EXPECT_EQ(WLPParseIdentityText(ask({0x01, 0x92})), "BOOT 2.1  ");
    EXPECT_EQ(booting.framesReceived().size(), 1u);
    EXPECT_EQ(WLPParseHexVersion(ask(kAskHexVersion)), "02.0A.FF");
    EXPECT_EQ(WLPParseDecimalVersion(ask(kAskDecimalVersion)), "3.0");
    EXPECT_TRUE(ask({0x5E, 0x02, 0x0D, 0x07, 0x8C}).empty()); // unknown query
}
