// Wireless adapters over real loopback TCP: the Qt socket and host against
// adapter models behind real listeners.
#include <gtest/gtest.h>

#include <QCoreApplication>

#include <chrono>
#include <string>
#include <thread>

#include "adapters/wireless/modWLP.h"
#include "models/wireless_model.h"
#include "platform/qt/qt_host.h"
#include "platform/qt/qt_tcp_socket.h"
#include "realtime/tcp_model_server.h"
#include "support/watched_socket.h"

using namespace lp;
using namespace lp::sim;
using namespace lp::test;

TEST(WirelessEndToEnd, TwoAdaptersAnswerTheQtSocketOnLoopback)
{
    WirelessModel modelA({.identityText = "01.04.0007"});
    WirelessModel modelB({.identityText = "02.00.0001", .hexVersion = {0x03, 0x1F, 0x00}, .decimalMajor = 2,
                          .decimalMinor = 5});
    TcpModelServer serverA(modelA, "127.0.0.2"), serverB(modelB, "127.0.0.3");
    std::string error;
    ASSERT_TRUE(serverA.start(&error)) << error;
    ASSERT_TRUE(serverB.start(&error)) << error;

    QtHost host;
    QtTcpSockets sockets(&host);
    // Events that reach the handlers inside a delay are counted: there must be none.
    const auto inDelay = [&host] { return host.delayInProgress(); };
    WatchedSocket a(sockets, "127.0.0.2", inDelay), b(sockets, "127.0.0.3", inDelay);
    ASSERT_TRUE(a.socket->connect());
    ASSERT_TRUE(b.socket->connect());
    EXPECT_EQ(a.socket->state(), 6); // nothing happens inside the call itself
    ASSERT_TRUE(host.waitUntil([&] { return a.socket->state() == 7 && b.socket->state() == 7; }, 5000))
        << a.socket->state() << " " << b.socket->state();

    struct Query {
        const Bytes& ask;
        size_t replySize;
        std::string (*parse)(const Bytes&);
        const char *fromA, *fromB;
    };
    for (const Query& q : {Query{kAskIdentity, 15, WLPParseIdentityText, "01.04.0007", "02.00.0001"},
                           Query{kAskHexVersion, 8, WLPParseHexVersion, "01.07.12", "03.1F.00"},
                           Query{kAskDecimalVersion, 11, WLPParseDecimalVersion, "1.10", "2.5"}}) {
        SCOPED_TRACE(q.fromA);
        ASSERT_TRUE(a.socket->sendData(q.ask));
        ASSERT_TRUE(b.socket->sendData(q.ask));
        // The replies are in the system when messages run once, and the events
        // that Qt's signals queue then must wait out the delay that follows.
        std::this_thread::sleep_for(std::chrono::milliseconds(100));
        host.pumpMessages();
        host.sleepMilliseconds(300);
        ASSERT_TRUE(host.waitUntil([&] { return a.data.size() >= q.replySize && b.data.size() >= q.replySize; }, 5000));
        EXPECT_EQ(q.parse(a.take()), q.fromA);
        EXPECT_EQ(q.parse(b.take()), q.fromB);
    }
    EXPECT_EQ(a.errors.size() + b.errors.size(), 0u);
    EXPECT_EQ(a.eventsInDelay + b.eventsInDelay, 0);

    // Closing ends the adapter's session too; it heard the three queries.
    a.socket->close();
    EXPECT_EQ(a.socket->state(), 0);
    bool connected = true;
    EXPECT_TRUE(host.waitUntil([&] {
        serverA.call([&] { connected = modelA.isConnected(); });
        return !connected;
    }, 2000));
    int framesA = 0;
    serverA.call([&] { framesA = static_cast<int>(modelA.framesReceived().size()); });
    EXPECT_EQ(framesA, 3);
}

// (A refused connection on a real socket: LinkportSim's refusing adapter and
// the flash fault table's "Error# 10061"; its text comes from the number as
// on the in-process network, VirtualTcp.)
TEST(WirelessEndToEnd, ADroppedConnectionDeliversWhatCameBeforeItsError)
{
    WirelessModel model;
    model.setFault(WirelessFault::DropMidReply);
    model.setDropAfterBytes(7);
    EXPECT_FALSE(TcpModelServer(model, "192.168.1.20").start());
    EXPECT_FALSE(TcpModelServer(model, "127.0.1.3").start());
    TcpModelServer server(model, "127.0.0.3");
    std::string error;
    ASSERT_TRUE(server.start(&error)) << error;

    QtHost host;
    QtTcpSockets sockets(&host);
    WatchedSocket w(sockets, "127.0.0.3");
    ASSERT_TRUE(w.socket->connect());
    ASSERT_TRUE(host.waitUntil([&] { return w.socket->state() != 6; }, 5000));
    ASSERT_EQ(w.socket->state(), 7);
    ASSERT_TRUE(w.socket->sendData(kAskIdentity));
    ASSERT_TRUE(host.waitUntil([&] { return !w.errors.empty(); }, 5000));
    EXPECT_EQ(w.errors[0].first, 10054);
    EXPECT_EQ(w.socket->state(), 9);
    EXPECT_FALSE(w.arrivals.empty());
    EXPECT_EQ(WLPParseIdentityText(w.take()), "01");
}
