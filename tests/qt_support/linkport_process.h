#pragma once
// linkport as a child process, as a user's script runs it: its flash log and
// user folders in `home` (never the user's own), standard input no terminal.
#include <QProcess>

#include <memory>

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

} // namespace lp::test

#endif
