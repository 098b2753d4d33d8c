// linkport-sim: simulated adapters for Linkport Toolkit, until Ctrl-C.
//
// With --print-env the program must hand its shell lines back to a command
// substitution, which waits until every holder of its pipe is gone and the
// process has ended. So it forks before any thread exists: the child sets up
// and runs in a session of its own with its output on /dev/null, the parent
// relays the child's report and ends.
#include <fcntl.h>
#include <signal.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "demo/demo_options.h"
#include "demo/stop_signals.h"
#include "version.h"

namespace {

using lp::sim::blockStopSignals;
using lp::sim::DemoSession;
using lp::sim::SimCommand;

// The report the background child sends its parent: "!" and the reason, or
// the export lines, this separator and the description.
constexpr const char* kReportSeparator = "#--\n";

void writeAll(int fd, const std::string& text)
{
    size_t done = 0;
    while (done < text.size()) {
        ssize_t n = ::write(fd, text.data() + done, text.size() - done);
        if (n < 0 && errno == EINTR)
            continue;
        if (n <= 0)
            return;
        done += static_cast<size_t>(n);
    }
}

std::string header() { return std::string("Linkport simulator ") + lp::version::text + "\n"; }

int waitForStopSignal(const sigset_t& set)
{
    int signal = 0;
    while (sigwait(&set, &signal) != 0) {
    }
    return signal;
}

int runInForeground(const SimCommand& command)
{
    sigset_t stopSignals = blockStopSignals();
    std::string error;
    std::unique_ptr<DemoSession> session = lp::sim::startDemo(command.demo, error);
    if (!session) {
        std::fprintf(stderr, "linkport-sim: %s\n", error.c_str());
        return 1;
    }
    std::string text = header() + session->description();
    if (command.setupOnly) {
        session->stop();
        text += "Set up and removed again (--setup-only).\n";
        std::fputs(text.c_str(), stdout);
        std::fflush(stdout);
        return 0;
    }
    text += "Running; press Ctrl-C to stop.\n";
    std::fputs(text.c_str(), stdout);
    std::fflush(stdout);
    int signal = waitForStopSignal(stopSignals);
    session->stop();
    std::printf("Stopped (%s); everything it made is removed.\n", strsignal(signal));
    std::fflush(stdout);
    return 0;
}

int runInBackground(const SimCommand& command)
{
    int report[2];
    if (::pipe(report) != 0) {
        std::fprintf(stderr, "linkport-sim: pipe: %s\n", std::strerror(errno));
        return 1;
    }
    std::fflush(nullptr);
    pid_t child = ::fork();
    if (child < 0) {
        std::fprintf(stderr, "linkport-sim: fork: %s\n", std::strerror(errno));
        return 1;
    }
    if (child > 0) {
        ::close(report[1]);
        std::string received;
        char buffer[4096];
        for (;;) {
            ssize_t n = ::read(report[0], buffer, sizeof buffer);
            if (n < 0 && errno == EINTR)
                continue;
            if (n <= 0)
                break;
            received.append(buffer, static_cast<size_t>(n));
        }
        ::close(report[0]);
        size_t separator = received.find(kReportSeparator);
        if (received.empty() || received[0] == '!' || separator == std::string::npos) {
            std::fprintf(stderr, "linkport-sim: %s\n",
                         received.size() > 1 ? received.substr(1).c_str() : "the simulator ended before it was ready");
            return 1;
        }
        // stdout is for the shell to run; people read stderr.
        std::fputs(received.substr(0, separator).c_str(), stdout);
        std::fputs(received.substr(separator + std::strlen(kReportSeparator)).c_str(), stderr);
        return 0;
    }

    // The child: out of the terminal's reach (Ctrl-C there is for the shell).
    ::close(report[0]);
    ::setsid();
    sigset_t stopSignals = blockStopSignals();
    std::string error;
    std::unique_ptr<DemoSession> session = lp::sim::startDemo(command.demo, error);
    if (!session) {
        writeAll(report[1], "!" + error);
        ::_exit(1);
    }
    const std::string pid = std::to_string(::getpid());
    writeAll(report[1], session->environmentScript() + "export LINKPORT_SIM_PID=" + pid + "\n"
                            + "# stop the simulator with: kill $LINKPORT_SIM_PID\n" + kReportSeparator + header()
                            + session->description() + "Running in the background as process " + pid
                            + "; stop it with: kill " + pid + "\n");
    ::close(report[1]);
    int null = ::open("/dev/null", O_RDWR);
    if (null >= 0) {
        ::dup2(null, 0);
        ::dup2(null, 1);
        ::dup2(null, 2);
        if (null > 2)
            ::close(null);
    }
    waitForStopSignal(stopSignals);
    session.reset();
    ::_exit(0);
}

} // namespace

int main(int argc, char* argv[])
{
    ::signal(SIGPIPE, SIG_IGN);
    std::vector<std::string> args(argv + 1, argv + argc);
    SimCommand command;
    std::string error;
    if (lp::sim::parseSimArguments(args, command, error) != 0) {
        std::fprintf(stderr, "linkport-sim: %s\nTry 'linkport-sim --help'.\n", error.c_str());
        return lp::sim::kUsageError;
    }
    switch (command.action) {
    case SimCommand::Action::Help:
        std::fputs(lp::sim::simUsage().c_str(), stdout);
        return 0;
    case SimCommand::Action::Version:
        std::printf("linkport-sim %s\n", lp::version::text);
        return 0;
    case SimCommand::Action::Run:
        break;
    }
    // This process only serves the adapters; the environment is for the
    // program the user starts.
    command.demo.setEnvironment = false;
    return command.printEnvironment ? runInBackground(command) : runInForeground(command);
}
