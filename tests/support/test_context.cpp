#include "support/test_context.h"

#include <filesystem>

#include "settings/modRegistry.h"

namespace lp::test {

namespace {

std::string makeWindowsDir(const TempDir& dir)
{
    const std::string path = dir.file("windows");
    std::filesystem::create_directories(path);
    return path;
}

} // namespace

TestContext::TestContext()
    : windowsDir_(makeWindowsDir(dir)),
      registryFile_(dir.file("registry.reg")),
      profiles(windowsDir_),
      registry(registryFile_)
{
    ctx.ports.host = &clock;
    ctx.ports.prompts = &prompts;
    ctx.ports.profiles = &profiles;
    ctx.ports.registry = &registry;
    ctx.ports.log = &log;
    ctx.ports.serialPorts = &serialPorts;
    ctx.ports.tcpSockets = &tcpSockets;
    ctx.ports.screens = &screens;
}

bool TestContext::setRegistryText(const std::string& key, const std::string& name, const std::string& value)
{
    HKEY h = 0;
    if (registry.regCreateKey(HKEY_LOCAL_MACHINE, key, h) != ERROR_SUCCESS)
        return false;
    std::string data = value;
    data.push_back('\0');
    const int32_t rc = registry.regSetValueEx(h, name, REG_SZ, reinterpret_cast<const uint8_t*>(data.data()),
                                              static_cast<uint32_t>(data.size()));
    registry.regCloseKey(h);
    return rc == ERROR_SUCCESS;
}

std::string TestContext::registryText(const std::string& key, const std::string& name)
{
    const int32_t saved = ctx.g_lngRegResult;
    std::string text = RegReadValue(ctx, HKEY_LOCAL_MACHINE, key, name).text();
    ctx.g_lngRegResult = saved;
    return text;
}

void TestContext::writeWindowsFile(const std::string& name, const std::string& contents) const
{
    writeFile(windowsDir_ + "/" + name, contents);
}

} // namespace lp::test
