#pragma once
// linkport as a child process, as a user's script runs it: its flash log and
// user folders in `home` (never the user's own), standard input no terminal.
// On Windows it is the linkport.exe installed beside the test programs.
#include <QCoreApplication>
#include <QJsonArray>
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
#ifdef _WIN32
    env.insert("LOCALAPPDATA", QString::fromStdString(home.file("local")));
    env.insert("APPDATA", QString::fromStdString(home.file("roaming")));
    const QString program = QCoreApplication::applicationDirPath() + "/linkport.exe";
#else
    env.insert("XDG_DATA_HOME", QString::fromStdString(home.file("data")));
    env.insert("XDG_CONFIG_HOME", QString::fromStdString(home.file("config")));
    const QString program = LP_CLI_PROGRAM;
#endif
    p->setProcessEnvironment(env);
    p->start(program, args);
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
    if (!p.waitForFinished(90'000)) { // Wine is slow to start a program
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

// The value of the Summary's row `description`, "(no row)" when it has none.
inline std::string summaryRow(const QJsonObject& summary, const char* description)
{
    for (const QJsonValue& row : summary["rows"].toArray())
        if (str(row.toObject()["description"]) == description)
            return str(row.toObject()["value"]);
    return "(no row)";
}

} // namespace lp::test

#endif
