#pragma once
// linkport as a child process, as a user's script runs it: its flash log and
// user folders in `home` (never the user's own), standard input no terminal.
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>

#include <memory>
#include <string>

#include "support/temp_dir.h"

#ifdef LP_CLI_PROGRAM

namespace lp::test {

inline std::unique_ptr<QProcess> startLinkport(const TempDir& home, const QStringList& args)
{
    auto p = std::make_unique<QProcess>();
    QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
    env.remove("LINKPORT_FLASH_LOG");
    env.insert("XDG_DATA_HOME", QString::fromStdString(home.file("data")));
    env.insert("XDG_CONFIG_HOME", QString::fromStdString(home.file("config")));
    p->setProcessEnvironment(env);
    p->start(LP_CLI_PROGRAM, args);
    p->closeWriteChannel();
    return p;
}

// How a run ended: exit code (-1 when it crashed or hung), its JSON, its
// standard error.
struct CliRun {
    int code = -1;
    QJsonObject json;
    std::string err;
};

inline CliRun finish(QProcess& p)
{
    if (!p.waitForFinished(60000)) {
        p.kill();
        p.waitForFinished();
        return {.err = "linkport did not end"};
    }
    return {p.exitStatus() == QProcess::NormalExit ? p.exitCode() : -1,
            QJsonDocument::fromJson(p.readAllStandardOutput()).object(), p.readAllStandardError().toStdString()};
}

inline CliRun linkport(const TempDir& home, const QStringList& args) { return finish(*startLinkport(home, args)); }

inline std::string str(const QJsonValue& v) { return v.toString().toStdString(); }

// The exit code and the "result" value, as "1 failure".
inline std::string outcome(const CliRun& r) { return std::to_string(r.code) + " " + str(r.json["result"]); }

} // namespace lp::test

#endif
