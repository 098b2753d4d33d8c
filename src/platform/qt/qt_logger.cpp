#include "platform/qt/qt_logger.h"

#include <QDateTime>
#include <QString>

#include <cstdio>
#include <filesystem>
#include <mutex>
#include <system_error>

#include "platform/user_folders.h"

namespace lp {

namespace {

Q_LOGGING_CATEGORY(lcPlatform, "linkport.platform")
Q_LOGGING_CATEGORY(lcShell, "linkport.shell")
Q_LOGGING_CATEGORY(lcSettings, "linkport.settings")
Q_LOGGING_CATEGORY(lcLinks, "linkport.links")
Q_LOGGING_CATEGORY(lcFirmware, "linkport.firmware")
Q_LOGGING_CATEGORY(lcFlash, "linkport.flash")
Q_LOGGING_CATEGORY(lcInfo, "linkport.info")
Q_LOGGING_CATEGORY(lcAdapterTest, "linkport.adaptertest")
Q_LOGGING_CATEGORY(lcCli, "linkport.cli")
Q_LOGGING_CATEGORY(lcSim, "linkport.sim")

// Messages can come from any thread (Qt's own workers log too).
struct LogFile {
    std::mutex mutex;
    std::string path;
    std::FILE* file = nullptr;
    qint64 size = 0;
    QtMessageHandler previous = nullptr;
    bool installed = false;
};

LogFile& logFile()
{
    static LogFile* instance = new LogFile; // outlives static destructors that still log
    return *instance;
}

const char* levelName(QtMsgType type)
{
    switch (type) {
    case QtDebugMsg: return "debug";
    case QtInfoMsg: return "info";
    case QtWarningMsg: return "warning";
    case QtCriticalMsg: return "critical";
    case QtFatalMsg: return "fatal";
    }
    return "unknown";
}

bool openFile(LogFile& log)
{
    log.file = std::fopen(log.path.c_str(), "ab");
    if (!log.file)
        return false;
    std::error_code ec;
    auto size = std::filesystem::file_size(log.path, ec);
    log.size = ec ? 0 : static_cast<qint64>(size);
    return true;
}

void rotate(LogFile& log)
{
    std::fclose(log.file);
    log.file = nullptr;
    std::error_code ec;
    std::filesystem::rename(log.path, log.path + ".1", ec);
    // When the old file cannot move aside, start it afresh rather than let it grow.
    if (ec)
        std::filesystem::resize_file(log.path, 0, ec);
    openFile(log);
}

void handler(QtMsgType type, const QMessageLogContext& context, const QString& message)
{
    const QByteArray time = QDateTime::currentDateTime().toString(QStringLiteral("yyyy-MM-dd hh:mm:ss.zzz")).toUtf8();
    QString text = message;
    text.replace(QLatin1Char('\n'), QStringLiteral("\n    ")); // continuation lines stay with their line
    const QByteArray line = time + ' ' + levelName(type) + ' ' + (context.category ? context.category : "default")
                            + ": " + text.toUtf8() + '\n';

    auto& log = logFile();
    bool written = false;
    {
        std::lock_guard lock(log.mutex);
        if (log.file) {
            if (log.size + line.size() > kLogFileRotateBytes && log.size > 0)
                rotate(log);
            if (log.file && std::fwrite(line.constData(), 1, static_cast<size_t>(line.size()), log.file)
                                == static_cast<size_t>(line.size())) {
                std::fflush(log.file);
                log.size += line.size();
                written = true;
            }
        }
    }
    // QtInfoMsg sorts above QtWarningMsg in the enum, so name the serious kinds.
    const bool serious = type == QtWarningMsg || type == QtCriticalMsg || type == QtFatalMsg;
    if (!written || serious) {
        std::fwrite(line.constData(), 1, static_cast<size_t>(line.size()), stderr);
        std::fflush(stderr);
    }
}

} // namespace

const QLoggingCategory& QtLogger::category(LogSubsystem subsystem)
{
    switch (subsystem) {
    case LogSubsystem::Platform: return lcPlatform();
    case LogSubsystem::Shell: return lcShell();
    case LogSubsystem::Settings: return lcSettings();
    case LogSubsystem::Links: return lcLinks();
    case LogSubsystem::Firmware: return lcFirmware();
    case LogSubsystem::Flash: return lcFlash();
    case LogSubsystem::Info: return lcInfo();
    case LogSubsystem::AdapterTest: return lcAdapterTest();
    case LogSubsystem::Cli: return lcCli();
    case LogSubsystem::Sim: return lcSim();
    }
    return lcPlatform();
}

void QtLogger::write(LogSubsystem subsystem, LogLevel level, std::string_view text)
{
    const QLoggingCategory& cat = category(subsystem);
    const QString message = QString::fromUtf8(text.data(), static_cast<qsizetype>(text.size()));
    switch (level) {
    case LogLevel::Debug: qCDebug(cat).noquote() << message; break;
    case LogLevel::Info: qCInfo(cat).noquote() << message; break;
    case LogLevel::Warning: qCWarning(cat).noquote() << message; break;
    }
}

std::string installLogFile()
{
    const std::string folder = userDataFolder();
    return installLogFile(folder.empty() ? std::string() : folder + "/linkport.log");
}

std::string installLogFile(const std::string& path)
{
    auto& log = logFile();
    {
        std::lock_guard lock(log.mutex);
        if (log.file) {
            std::fclose(log.file);
            log.file = nullptr;
        }
        log.path = path;
        if (!path.empty() && !openFile(log))
            log.path.clear();
    }
    if (!log.installed) {
        log.previous = qInstallMessageHandler(handler);
        log.installed = true;
    }
    if (log.path.empty())
        qCWarning(lcPlatform).noquote() << "no log file" << QString::fromStdString(path) << "- logging to stderr only";
    return log.path;
}

void uninstallLogFile()
{
    auto& log = logFile();
    if (log.installed) {
        qInstallMessageHandler(log.previous);
        log.installed = false;
    }
    std::lock_guard lock(log.mutex);
    if (log.file)
        std::fclose(log.file);
    log.file = nullptr;
    log.path.clear();
}

} // namespace lp
