// The second-generation adapter and driver models themselves: what counts
// as a frame on the line and how long it takes, and who holds the line.
#include <gtest/gtest.h>

#include <memory>

#include "adapters/frames.h"
#include "doubles/lp2_in_process_driver.h"
#include "models/lp2_model.h"
#include "doubles/virtual_clock.h"
#include "doubles/virtual_serial.h"

using namespace lp;
using namespace lp::sim;

namespace {

struct Lp2Line : ::testing::Test {
    VirtualClock clock;
    VirtualSerialPorts ports{clock};
    Lp2Model adapter;
    std::unique_ptr<SerialPort> port = ports.create();

    Lp2Line()
    {
        ports.addPort(1, &adapter);
        port->setSettings("9600,n,8,1");
        port->setPortOpen(true);
    }
    std::string exchange(const Bytes& bytes, int waitMs = 250)
    {
        port->output(bytes);
        clock.sleepMilliseconds(waitMs);
        return frames::hexText(port->input());
    }
};

} // namespace

TEST_F(Lp2Line, OnlyWholeFramesAtTheRightRateAreAnswered)
{
    const Bytes leave = frames::framed({0xFA, 0x5E, 0x02, 0x01, 0x02});
    const Bytes query = frames::framed({0x5E, 0x02, 0x0D, 0x02});
    EXPECT_EQ(exchange(query), "") << "driver mode ignores the query";

    EXPECT_EQ(exchange({0xFA, 0x5E, 0x02, 0x01, 0x02, 0xA4}), "");
    EXPECT_EQ(adapter.badFrames(), 1) << "a wrong check byte drops the frame";

    port->output(Bytes(leave.begin(), leave.begin() + 3));
    clock.sleepMilliseconds(150);
    EXPECT_EQ(exchange(Bytes(leave.begin() + 3, leave.end())), "") << "a pause ends a partial frame";
    EXPECT_TRUE(adapter.driverMode());

    EXPECT_EQ(exchange(leave), "5F0201029C");
    EXPECT_FALSE(adapter.driverMode());
    // Five bytes out and eight back at 9600, about 1.04 ms each, and the
    // adapter's own 2 ms between them.
    port->output(query);
    clock.sleepMilliseconds(7);
    EXPECT_EQ(port->inBufferCount(), 0);
    clock.sleepMilliseconds(8);
    EXPECT_EQ(port->inBufferCount(), 7);
    clock.sleepMilliseconds(1);
    EXPECT_EQ(frames::hexText(port->input()), "5F050D0201071273");

    port->setPortOpen(false);
    port->setSettings("19200,n,8,1");
    port->setPortOpen(true);
    EXPECT_EQ(exchange(frames::framed({0x5E, 0x02, 0x01, 0x02})), "");
    EXPECT_EQ(adapter.noiseBytes(), 5);
    EXPECT_FALSE(adapter.driverMode());
    // (An adapter without power, silent to the driver and on the line: the
    // second-generation fault table.)
}

// The driver and the program take turns at the line, as on Windows. (Client
// numbers: the adapter test's table; the driver's error texts and
// versions: rp1210_interface_test.cpp.)
TEST(Lp2Driver, TheDriverAndTheProgramTakeTurnsAtTheLine)
{
    VirtualClock clock;
    VirtualSerialPorts ports{clock};
    Lp2Model adapter;
    ports.addPort(2, &adapter);
    Lp2InProcessDriver driver{adapter, &ports, 2, Lp2DriverSettings{.firstClientId = 126}};
    std::string sip = "SIP";

    auto program = ports.create();
    program->setCommPort(2);
    ASSERT_TRUE(program->setPortOpen(true));
    EXPECT_EQ(driver.clientConnect(0, 1, sip, 0, 0, 0), 230) << "the program has the port";
    program->setPortOpen(false);

    EXPECT_EQ(driver.clientConnect(0, 1, sip, 0, 0, 0), 126);
    EXPECT_EQ(driver.clientConnect(0, 1, sip, 0, 0, 0), 127);
    EXPECT_FALSE(program->setPortOpen(true));
    EXPECT_EQ(driver.clientDisconnect(126), 0);
    EXPECT_FALSE(program->setPortOpen(true)) << "a client is still open";
    EXPECT_EQ(driver.clientDisconnect(127), 0);
    EXPECT_TRUE(program->setPortOpen(true)) << "the last client lets go of the port";
}
