// The port map decides which device "COM5" opens: a wrong answer sends the
// adapter's bytes to the wrong wire, and a wrong "RS-232" answer hides real
// ports from Preferences or offers files as ports.
#include <gtest/gtest.h>

#include <pty.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <string>

#include "platform/serial_port_map.h"
#include "support/scoped_env.h"
#include "support/temp_dir.h"

using namespace lp;
using lp::test::TempDir;

TEST(SerialPortMap, LinksOverrideAndPseudoTerminalsCountAsSerialPorts)
{
    int master = -1, slave = -1;
    char slaveName[256] = {};
    ASSERT_EQ(::openpty(&master, &slave, slaveName, nullptr, nullptr), 0);

    TempDir dir;
    const std::string folder = dir.file("dosdevices");
    std::filesystem::create_directory(folder);
    std::filesystem::create_symlink(slaveName, folder + "/COM5"); // upper case still counts
    lp::test::writeFile(dir.file("plain.txt"), "not a port");
    std::filesystem::create_symlink("../plain.txt", folder + "/com7"); // relative to the folder
    std::filesystem::create_symlink("/nonexistent/ttyX", folder + "/com0");
    std::filesystem::create_symlink("/nonexistent/ttyY", folder + "/com300");
    lp::test::ScopedEnv env("LINKPORT_DOSDEVICES", folder);

    EXPECT_EQ(dosdevicesFolder(), folder);
    EXPECT_EQ(devicePathForPort(5), slaveName);
    std::string reason;
    EXPECT_TRUE(canOpenDevice(slaveName, &reason)) << reason;

    const std::string plain = devicePathForPort(7);
    EXPECT_EQ(std::filesystem::path(plain), std::filesystem::path(dir.file("plain.txt")));
    // (A file that opens but is no tty: PlatformContract.SerialPortPresence.)
    EXPECT_FALSE(isRs232ClassDevice(dir.path())); // a folder
    EXPECT_FALSE(isRs232ClassDevice(""));

    // COM0 and numbers beyond 256 do not exist, whatever the folder holds.
    for (int port : {0, -3, 257})
        EXPECT_EQ(devicePathForPort(port), "") << port;
    auto ports = listPorts();
    EXPECT_EQ(ports.count(0) + ports.count(300), 0u);
    EXPECT_EQ(ports[5], slaveName);

    EXPECT_FALSE(canOpenDevice(dir.file("missing"), &reason));
    EXPECT_NE(reason.find("no such device"), std::string::npos) << reason;
    if (::geteuid() != 0) { // root opens anything
        ::chmod(dir.file("plain.txt").c_str(), 0);
        EXPECT_FALSE(canOpenDevice(dir.file("plain.txt"), &reason));
        EXPECT_NE(reason.find("usermod -aG"), std::string::npos) << reason;
    }
    ::close(slave);
    ::close(master);
}

TEST(SerialPortMap, DefaultMapNumbersSerialThenUsbThenAcmDevices)
{
    TempDir dev;
    for (const char* name : {"ttyS10", "ttyS2", "ttyACM1", "ttyUSB0", "ttyACM0", "ttySAC0", "ttyS", "tty5", "ttyUSBx"})
        lp::test::writeFile(dev.file(name), "");
    auto map = defaultPortMap(dev.path());
    std::map<int, std::string> expected{{1, dev.file("ttyS2")},   {2, dev.file("ttyS10")},
                                        {3, dev.file("ttyUSB0")}, {4, dev.file("ttyACM0")},
                                        {5, dev.file("ttyACM1")}};
    EXPECT_EQ(map, expected);
    EXPECT_TRUE(defaultPortMap(dev.file("missing")).empty());

    TempDir many;
    for (int i = 0; i < 300; ++i)
        lp::test::writeFile(many.file("ttyUSB" + std::to_string(i)), "");
    auto capped = defaultPortMap(many.path());
    EXPECT_EQ(capped.size(), 256u);
    EXPECT_EQ(capped[256], many.file("ttyUSB255"));
}

TEST(SerialPortMap, PortOfDeviceName)
{
    for (auto [name, port] :
         {std::pair{"COM3", 3}, {"com3", 3}, {"\\\\.\\COM12", 12}, {"\\\\.\\com256", 256}})
        EXPECT_EQ(portOfDeviceName(name), port) << name;
    for (const char* bad : {"", "COM", "COM0", "COM03", "COM257", "COM1000", "COM3 ", " COM3", "COM-1", "COM3x",
                            "LPT1", "\\\\.\\", "\\\\?\\COM3", "/dev/ttyS0"})
        EXPECT_EQ(portOfDeviceName(bad), 0) << bad;
}
