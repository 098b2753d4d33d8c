// The driver library and the demo firmware are found from the program's
// folder in a build tree and in an installed tree, the build tree first.
#include <gtest/gtest.h>

#include <filesystem>

#include "platform/shipped_files.h"
#include "support/temp_dir.h"

namespace lp {
namespace {

namespace fs = std::filesystem;
using test::TempDir;

TEST(ShippedFiles, BuildTreeThenInstalledTree)
{
    EXPECT_EQ(shippedFileCandidates(ShippedFile::DriverLibrary, "/usr/bin"),
              (std::vector<std::string>{"/usr/lib/libLP2RP32.so", "/usr/lib/linkport-toolkit/libLP2RP32.so"}));
    EXPECT_EQ(shippedFileCandidates(ShippedFile::DemoFirmware, "/opt/lp/bin/"),
              (std::vector<std::string>{"/opt/lp/demo-firmware", "/opt/lp/share/linkport-toolkit/demo-firmware"}));
    EXPECT_TRUE(shippedFileCandidates(ShippedFile::DriverLibrary, "").empty());

    TempDir dir;
    const std::string bin = dir.file("bin");
    fs::create_directories(bin);
    EXPECT_EQ(findShippedFile(ShippedFile::DriverLibrary, bin), "");

    // Installed layout only.
    fs::create_directories(dir.file("lib/linkport-toolkit"));
    test::writeFile(dir.file("lib/linkport-toolkit/libLP2RP32.so"), "x");
    fs::create_directories(dir.file("share/linkport-toolkit/demo-firmware"));
    EXPECT_EQ(findShippedFile(ShippedFile::DriverLibrary, bin), dir.file("lib/linkport-toolkit/libLP2RP32.so"));
    EXPECT_EQ(findShippedFile(ShippedFile::DemoFirmware, bin), dir.file("share/linkport-toolkit/demo-firmware"));

    // A build tree beside it wins; a file where a folder belongs (and the
    // reverse) does not count.
    test::writeFile(dir.file("lib/libLP2RP32.so"), "x");
    test::writeFile(dir.file("demo-firmware"), "not a folder");
    EXPECT_EQ(findShippedFile(ShippedFile::DriverLibrary, bin), dir.file("lib/libLP2RP32.so"));
    EXPECT_EQ(findShippedFile(ShippedFile::DemoFirmware, bin), dir.file("share/linkport-toolkit/demo-firmware"));
}

} // namespace
} // namespace lp
