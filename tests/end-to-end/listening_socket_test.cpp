// The toolkit only ever connects to adapters; it never listens. Listening
// would open a door on the technician's laptop on every network it joins.
// linkport flashes a wireless adapter of a simulator session in this
// process, and while it runs its own sockets (found through /proc/<pid>/fd)
// are looked up in the kernel's TCP tables: none may be in LISTEN state.
// The simulator's listener lives in this test process, not in linkport,
// and serves as the check that the look-up finds a listener at all.
#include <gtest/gtest.h>

#include <QProcess>

#include <filesystem>
#include <fstream>
#include <set>
#include <sstream>
#include <string>
#include <unistd.h>

#include "demo/demo_options.h"
#include "demo/demo_session.h"
#include "linkport_process.h"

#if defined(LP_CLI_PROGRAM) && defined(LP_DEMO_FIRMWARE_DIR)

namespace {

// The inodes of the sockets process `pid` holds open.
std::set<std::string> socketInodes(qint64 pid)
{
    std::set<std::string> inodes;
    std::error_code ec;
    for (const auto& entry : std::filesystem::directory_iterator("/proc/" + std::to_string(pid) + "/fd", ec)) {
        const std::string target = std::filesystem::read_symlink(entry.path(), ec).string();
        if (!ec && target.rfind("socket:[", 0) == 0)
            inodes.insert(target.substr(8, target.size() - 9));
    }
    return inodes;
}

// How many of `inodes` are TCP sockets in LISTEN state (st 0A), IPv4 or IPv6.
int listening(qint64 pid, const std::set<std::string>& inodes, bool& sawTcp)
{
    int count = 0;
    for (const char* table : {"/net/tcp", "/net/tcp6"}) {
        std::ifstream in("/proc/" + std::to_string(pid) + table);
        std::string line;
        std::getline(in, line); // the column names
        while (std::getline(in, line)) {
            std::istringstream fields(line);
            std::string sl, local, remote, st, queues, timer, retr, uid, timeout, inode;
            fields >> sl >> local >> remote >> st >> queues >> timer >> retr >> uid >> timeout >> inode;
            if (!inodes.count(inode))
                continue;
            sawTcp = true;
            count += st == "0A";
        }
    }
    return count;
}

} // namespace

TEST(ListeningSockets, TheToolkitNeverListensWhileItTalksToAWirelessAdapter)
{
    lp::sim::SimCommand command;
    std::string error;
    ASSERT_EQ(lp::sim::parseSimArguments({"--wireless", "--select=wireless"}, command, error), 0) << error;
    auto session = lp::sim::startDemo(command.demo, error);
    ASSERT_TRUE(session) << error;

    // The look-up finds the simulator's own listener in this process.
    bool ownTcp = false;
    EXPECT_GE(listening(getpid(), socketInodes(getpid()), ownTcp), 1);

    lp::test::TempDir home;
    auto p = lp::test::startLinkport(home, {"--json", "flash", LP_DEMO_FIRMWARE_DIR "/WirelessLinkport-demo-01.08.12.hex"});
    ASSERT_TRUE(p->waitForStarted());
    int samples = 0, listeners = 0;
    bool sawTcp = false;
    while (!p->waitForFinished(5)) {
        listeners += listening(p->processId(), socketInodes(p->processId()), sawTcp);
        ++samples;
        ASSERT_LT(samples, 12000) << "linkport did not end";
    }
    EXPECT_EQ(p->exitCode(), 0) << p->readAllStandardError().toStdString();
    EXPECT_TRUE(sawTcp) << "never caught linkport with its connection open (" << samples << " samples)";
    EXPECT_EQ(listeners, 0);
}

#endif
