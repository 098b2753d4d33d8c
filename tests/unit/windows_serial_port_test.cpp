// The Windows serial port on the system's COM ports. scripts/windows-test
// makes them under Wine: COM42 a line with nothing behind it
// (LP_TEST_SERIAL_PORT), COM41 a plain file (LP_TEST_FILE_PORT), COM43 a
// line that echoes what it hears (LP_TEST_ECHO_PORT; a loopback plug on a
// Windows PC) and, with LP_TEST_ECHO_VANISHES=1, goes away once it has
// heard "bye!", as a pulled USB converter does. Unset ports skip.
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <string>
#include <thread>

#include "platform/win32/win32_serial_port.h"
#include "platform_contract_win32.h"
#include "doubles/memory_logger.h"

using namespace lp;

namespace {

using Clock = std::chrono::steady_clock;

// A number from the environment, 0 when it is not set.
int envNumber(const char* name)
{
    const char* v = std::getenv(name);
    return v ? std::atoi(v) : 0;
}

double msSince(Clock::time_point start)
{
    return std::chrono::duration<double, std::milli>(Clock::now() - start).count();
}

// Polls as a procedure's wait does, up to `limitMs`; the longest single
// call goes into `longestCallMs`.
template <typename Done>
bool pollUntil(Done done, double limitMs, double& longestCallMs)
{
    const auto start = Clock::now();
    for (;;) {
        const auto call = Clock::now();
        const bool finished = done();
        longestCallMs = std::max(longestCallMs, msSince(call));
        if (finished)
            return true;
        if (msSince(start) > limitMs)
            return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
}

Bytes text(const std::string& s) { return Bytes(s.begin(), s.end()); }

} // namespace

// Ports that cannot be opened say why; one with nothing behind it opens,
// takes bytes and answers every poll at once with nothing.
TEST(WindowsSerialPort, RefusalsAndASilentDevice)
{
    Win32SerialPort port;
    ASSERT_TRUE(port.setCommPort(255));
    EXPECT_FALSE(port.setPortOpen(true));
    EXPECT_NE(port.lastError().find("no such port"), std::string::npos) << port.lastError();
    if (const int plain = envNumber("LP_TEST_FILE_PORT")) {
        ASSERT_TRUE(port.setCommPort(static_cast<int16_t>(plain)));
        EXPECT_FALSE(port.setPortOpen(true));
        EXPECT_NE(port.lastError().find("not a serial port"), std::string::npos) << port.lastError();
    }
    const int silent = envNumber("LP_TEST_SERIAL_PORT");
    if (!silent)
        GTEST_SKIP() << "LP_TEST_SERIAL_PORT not set: no silent port";
    ASSERT_TRUE(port.setCommPort(static_cast<int16_t>(silent)));
    ASSERT_TRUE(port.setSettings("57600,n,8,1"));
    port.setDTREnable(true);
    ASSERT_TRUE(port.setPortOpen(true)) << port.lastError();
    EXPECT_FALSE(port.setCommPort(3)) << "the number is fixed while open";
    EXPECT_TRUE(port.output(text("!!!!!!!!")));
    double longest = 0;
    EXPECT_FALSE(pollUntil([&] { return port.inBufferCount() > 0; }, 300, longest));
    EXPECT_LT(longest, 100.0) << "a poll of a silent line waited";
    EXPECT_TRUE(port.input().empty());
    EXPECT_TRUE(port.setSettings("9600,e,7,2")) << port.lastError();
    EXPECT_TRUE(port.portOpen());
    if (!test::runningUnderWine()) { // Wine lets a second opener in
        Win32SerialPort second;
        second.setCommPort(static_cast<int16_t>(silent));
        EXPECT_FALSE(second.setPortOpen(true));
        EXPECT_NE(second.lastError().find("in use"), std::string::npos) << second.lastError();
    }
    port.setPortOpen(false);
    test::HeldPort again(silent);
    EXPECT_TRUE(again.held()) << "closing let go of the port";
}

// Bytes go both ways in order and in bulk; a device that goes away closes
// the port with the reason, and later calls are refused, not waited on.
TEST(WindowsSerialPort, EchoAndAVanishingDevice)
{
    const int echo = envNumber("LP_TEST_ECHO_PORT");
    if (!echo)
        GTEST_SKIP() << "LP_TEST_ECHO_PORT not set: no echoing port";
    sim::MemoryLogger log;
    Win32SerialPort port(&log);
    port.setCommPort(static_cast<int16_t>(echo));
    port.setSettings("115200,n,8,1");
    ASSERT_TRUE(port.setPortOpen(true)) << port.lastError();
    Bytes sent;
    for (int i = 0; i < 3000; ++i)
        sent.push_back(static_cast<uint8_t>(i * 7));
    ASSERT_TRUE(port.output(sent)) << port.lastError();
    Bytes got;
    double longest = 0;
    EXPECT_TRUE(pollUntil(
        [&] {
            const Bytes more = port.input();
            got.insert(got.end(), more.begin(), more.end());
            return got.size() >= sent.size();
        },
        5000, longest));
    EXPECT_EQ(got, sent);
    EXPECT_LT(longest, 100.0);

    if (envNumber("LP_TEST_ECHO_VANISHES") != 1)
        GTEST_SKIP() << "LP_TEST_ECHO_VANISHES not set: the echoing device stays";
    ASSERT_TRUE(port.output(text("bye!")));
    EXPECT_TRUE(pollUntil(
        [&] {
            port.inBufferCount();
            return !port.portOpen();
        },
        3000, longest));
    EXPECT_LT(longest, 100.0);
    EXPECT_NE(port.lastError().find("has gone away"), std::string::npos) << port.lastError();
    EXPECT_TRUE(log.contains(LogSubsystem::Platform, "port closed"));
    EXPECT_FALSE(port.output(text("x")));
    EXPECT_EQ(port.inBufferCount(), 0);
}
