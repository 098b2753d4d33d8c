#pragma once
// A child process of the end-to-end tests (linkport-sim unless told), its
// output collected as it comes: the simulator's set-up lines, the command
// line's JSON. Header-only; LP_SIM_PROGRAM names the simulator.
#include <QDeadlineTimer>
#include <QProcess>
#include <QStringList>

#include <signal.h>

#include <sstream>
#include <string>
#include <vector>

namespace lp::test {

// A child process (linkport-sim unless told) whose output is collected as
// it comes.
class SimProcess {
public:
    explicit SimProcess(const std::vector<std::string>& args, const char* program = LP_SIM_PROGRAM)
    {
        QStringList list;
        for (const auto& a : args)
            list << QString::fromStdString(a);
        p_.start(program, list);
        p_.closeWriteChannel();
    }
    ~SimProcess()
    {
        if (p_.state() != QProcess::NotRunning) {
            p_.kill();
            p_.waitForFinished();
        }
    }

    // Reads stdout until `marker` has come or the time is up.
    bool readUntil(const std::string& marker, int timeoutMs = 20000)
    {
        QDeadlineTimer deadline(timeoutMs);
        while (collect().out.find(marker) == std::string::npos)
            if (!p_.waitForReadyRead(static_cast<int>(deadline.remainingTime())))
                return false;
        return true;
    }
    // The exit code once it has ended (-1: not in time; -2: killed by a signal).
    int finish(int timeoutMs = 10000)
    {
        if (!p_.waitForFinished(timeoutMs))
            return -1;
        collect();
        return p_.exitStatus() == QProcess::NormalExit ? p_.exitCode() : -2;
    }
    void signal(int number) { ::kill(static_cast<pid_t>(p_.processId()), number); }

    // "  name=value" lines of the set-up.
    std::string value(const std::string& name) const
    {
        std::istringstream lines(out);
        for (std::string line; std::getline(lines, line);) {
            if (line.rfind("  " + name + "=", 0) == 0)
                return line.substr(name.size() + 3);
        }
        return {};
    }

    std::string out, err;

private:
    SimProcess& collect()
    {
        out += p_.readAllStandardOutput().toStdString();
        err += p_.readAllStandardError().toStdString();
        return *this;
    }
    QProcess p_;
};

} // namespace lp::test
