// Which converter a tty is, read from a sysfs tree laid out as the kernel
// lays it out (links into the device tree), so that the walk up to the USB
// device is tested without one plugged in.
#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

#include "platform/serial_low_latency.h"
#include "platform/serial_port_identity.h"
#include "support/temp_dir.h"

using namespace lp;
namespace fs = std::filesystem;

namespace {

// /sys/devices/.../<usb>/<interface>/[<port>/]tty/<name>, linked from
// /sys/class/tty/<name>/device as the kernel does.
void addTty(const std::string& sys, const std::string& name, const std::string& devicePath,
            const std::vector<std::pair<std::string, std::string>>& files, const std::string& usbDevice)
{
    const fs::path device = fs::path(sys) / "devices" / devicePath;
    fs::create_directories(device);
    for (const auto& [file, text] : files)
        test::writeFile((fs::path(sys) / "devices" / usbDevice / file).string(), text + "\n");
    fs::create_directories(fs::path(sys) / "class" / "tty" / name);
    fs::create_directory_symlink(fs::relative(device, fs::path(sys) / "class" / "tty" / name),
                                 fs::path(sys) / "class" / "tty" / name / "device");
}

} // namespace

TEST(UsbIdentity, SysfsNamesTheConverterBehindATty)
{
    test::TempDir dir;
    const std::string sys = dir.file("sys");
    const std::string hub = "pci0000:00/0000:00:14.0/usb1/1-2";
    addTty(sys, "ttyUSB0", hub + "/1-2:1.0/ttyUSB0",
           {{"idVendor", "0403"}, {"idProduct", "6001"}, {"product", "FT232R USB UART"},
            {"manufacturer", "FTDI"}, {"serial", "A9XYZ12"}},
           hub);
    test::writeFile(sys + "/devices/" + hub + "/1-2:1.0/ttyUSB0/latency_timer", "16\n");
    addTty(sys, "ttyACM0", "pci0000:00/0000:00:14.0/usb1/1-3/1-3:1.0",
           {{"idVendor", "2341"}, {"idProduct", "0043"}, {"product", "Arduino\tUno"}},
           "pci0000:00/0000:00:14.0/usb1/1-3");
    addTty(sys, "ttyS0", "platform/serial8250/tty/ttyS0", {{"vendor", "0x8086"}}, "platform/serial8250");

    // A dosdevices link leads to the device; the link's own name says nothing.
    fs::create_directories(dir.file("dev"));
    test::writeFile(dir.file("dev/ttyUSB0"), "");
    fs::create_symlink(dir.file("dev/ttyUSB0"), dir.file("com5"));

    struct Case {
        std::string device;
        bool usb;
        std::string text;
        std::string manufacturer;
        int latencyMs;
    };
    const std::vector<Case> cases{
        {dir.file("com5"), true, "FT232R USB UART, USB 0403:6001, serial A9XYZ12", "FTDI", 16},
        {"/dev/ttyACM0", true, "Arduino?Uno, USB 2341:0043", "", -1},
        {"/dev/ttyS0", false, "", "", -1},
        {"/dev/pts/3", false, "", "", -1},
        {"", false, "", "", -1},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.device);
        const SerialPortIdentity identity = IdentifySerialDevice(c.device, sys);
        EXPECT_EQ(identity.device, c.device);
        EXPECT_EQ(identity.usb, c.usb);
        EXPECT_EQ(SerialPortIdentityText(identity), c.text);
        EXPECT_EQ(identity.manufacturer, c.manufacturer);
        EXPECT_EQ(latencyTimerMs(c.device, sys), c.latencyMs);
    }
}
