#include "platform/qt/real_ports.h"

#include "ports/file_version_reader.h"
#include "platform/ini_profile_files.h"
#include "platform/qt/qt_host.h"
#include "platform/qt/qt_logger.h"
#include "platform/qt/qt_serial_port.h"
#include "platform/qt/qt_tcp_socket.h"
#include "platform/reg_file_store.h"
#include "platform/rp1210_library.h"
#include "platform/windows_directory.h"
#ifdef _WIN32
#include "platform/win32/win32_profile_files.h"
#include "platform/win32/win32_registry_store.h"
#include "platform/win32/win32_serial_port.h"
#endif

namespace lp {

struct RealPorts::Parts {
    QtLogger logger;
    QtHost host;
#ifdef _WIN32
    // The system's own: drivers' INI files in the Windows folder, settings
    // in the registry, where a driver's installer and other tools see them.
    Win32ProfileFiles profiles;
    Win32RegistryStore registry;
#else
    IniProfileFiles profiles{defaultWindowsDirectory()};
    RegFileStore registry{defaultRegistryFilePath()};
#endif
    // The serial ports of this machine; a different implementation (a
    // simulator, another platform's) plugs in here. Windows has its own,
    // which never waits on the driver (win32_serial_port.h).
#ifdef _WIN32
    Win32SerialPorts serialPorts{&logger};
#else
    QtSerialPorts serialPorts{&logger};
#endif
    // The second-generation adapter's RP1210 driver library, looked for in
    // the Windows directory first.
    Rp1210Library rp1210{"LP2RP32", [this] { return profiles.windowsDirectory(); }, &logger};
    std::unique_ptr<FileVersionReader> fileVersions = createPlatformFileVersionReader();
    // The sockets to the wireless adapters.
    QtTcpSockets tcpSockets{&host};
};

RealPorts::RealPorts() : parts_(std::make_unique<Parts>()) {}

RealPorts::~RealPorts() = default;

Logger& RealPorts::logger() { return parts_->logger; }

void RealPorts::attach(Context& ctx, Prompts* prompts)
{
    ctx.ports.host = &parts_->host;
    ctx.ports.prompts = prompts;
    ctx.ports.profiles = &parts_->profiles;
    ctx.ports.registry = &parts_->registry;
    ctx.ports.log = &parts_->logger;
    ctx.ports.serialPorts = &parts_->serialPorts;
    ctx.ports.rp1210 = &parts_->rp1210;
    ctx.ports.fileVersions = parts_->fileVersions.get();
    ctx.ports.tcpSockets = &parts_->tcpSockets;
}

} // namespace lp
