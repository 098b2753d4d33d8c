#include "settings/modRegistry.h"

#include <optional>

#include "core/vb_text.h"

namespace lp {

namespace {

// Larger REG_SZ data is not a setting of ours; reading it would only cost memory.
constexpr uint32_t kMaxTextBytes = 16u << 20;

} // namespace

std::string RegValue::text() const
{
    if (const auto* number = std::get_if<int32_t>(&data))
        return std::to_string(*number);
    return std::get<std::string>(data);
}

bool RegKeyExists(Context& ctx, HKEY root, const std::string& keyPath)
{
    RegistryStore* reg = ctx.ports.registry;
    if (!reg) {
        ctx.g_lngRegResult = ERROR_INVALID_HANDLE;
        return false;
    }
    HKEY key = 0;
    ctx.g_lngRegResult = reg->regOpenKey(root, keyPath, key);
    bool exists = key != 0;
    ctx.g_lngRegResult = reg->regCloseKey(key);
    return exists;
}

RegValue RegReadValue(Context& ctx, HKEY root, const std::string& keyPath, const std::string& valueName)
{
    RegistryStore* reg = ctx.ports.registry;
    if (!reg) {
        ctx.g_lngRegResult = ERROR_INVALID_HANDLE;
        return {};
    }
    HKEY key = 0;
    ctx.g_lngRegResult = reg->regOpenKey(root, keyPath, key);
    if (key == 0) {
        ctx.g_lngRegResult = reg->regCloseKey(key);
        return {};
    }

    RegValue result;
    uint32_t type = REG_NONE;
    uint32_t size = 0;
    ctx.g_lngRegResult = reg->regQueryValueEx(key, valueName, &type, nullptr, &size);
    if (ctx.g_lngRegResult == ERROR_SUCCESS && type == REG_SZ && size <= kMaxTextBytes) {
        std::string buffer(size, ' ');
        uint32_t got = size;
        ctx.g_lngRegResult =
            reg->regQueryValueEx(key, valueName, nullptr, reinterpret_cast<uint8_t*>(buffer.data()), &got);
        if (ctx.g_lngRegResult == ERROR_SUCCESS) {
            // Text that other software stored without its NUL comes back whole.
            size_t nul = buffer.find('\0');
            result = nul == std::string::npos ? std::move(buffer) : buffer.substr(0, nul);
        }
    } else if (ctx.g_lngRegResult == ERROR_SUCCESS && type == REG_DWORD) {
        uint8_t bytes[4] = {0, 0, 0, 0};
        uint32_t got = sizeof bytes;
        ctx.g_lngRegResult = reg->regQueryValueEx(key, valueName, nullptr, bytes, &got);
        if (ctx.g_lngRegResult == ERROR_SUCCESS) {
            uint32_t raw = bytes[0] | (bytes[1] << 8) | (bytes[2] << 16) | (static_cast<uint32_t>(bytes[3]) << 24);
            result = static_cast<int32_t>(raw);
        }
    }
    ctx.g_lngRegResult = reg->regCloseKey(key);
    return result;
}

void RegWriteValue(Context& ctx, HKEY root, const std::string& keyPath, const std::string& valueName,
                   const RegValue& value)
{
    RegistryStore* reg = ctx.ports.registry;
    if (!reg) {
        ctx.g_lngRegResult = ERROR_INVALID_HANDLE;
        return;
    }
    // Decide what to store before touching the registry: a numeric text
    // outside the 32-bit range has no REG_DWORD form, and storing it as text
    // instead would hand readers a type they do not expect. It is refused and
    // nothing (not even the key) is created.
    std::optional<int32_t> number;
    std::string text;
    if (const auto* n = std::get_if<int32_t>(&value.data)) {
        number = *n;
    } else {
        const std::string& given = std::get<std::string>(value.data);
        if (vb::IsNumeric(given)) {
            number = vb::CLng(vb::Val(given));
            if (!number) {
                ctx.g_lngRegResult = ERROR_INVALID_PARAMETER;
                return;
            }
        } else {
            text = vb::Trim(given);
            text.push_back('\0');
        }
    }

    HKEY key = 0;
    ctx.g_lngRegResult = reg->regCreateKey(root, keyPath, key);
    if (key != 0) {
        if (number) {
            auto raw = static_cast<uint32_t>(*number);
            const uint8_t bytes[4] = {static_cast<uint8_t>(raw), static_cast<uint8_t>(raw >> 8),
                                      static_cast<uint8_t>(raw >> 16), static_cast<uint8_t>(raw >> 24)};
            ctx.g_lngRegResult = reg->regSetValueEx(key, valueName, REG_DWORD, bytes, sizeof bytes);
        } else {
            ctx.g_lngRegResult = reg->regSetValueEx(key, valueName, REG_SZ,
                                                    reinterpret_cast<const uint8_t*>(text.data()),
                                                    static_cast<uint32_t>(text.size()));
        }
    }
    // The result is the most recent call's, so a successful close
    // overwrites an earlier failure.
    ctx.g_lngRegResult = reg->regCloseKey(key);
}

} // namespace lp
