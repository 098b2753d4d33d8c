#pragma once
// The registry module: three operations over HKEY_LOCAL_MACHINE that never
// fail loudly. Every call records its last result code in ctx.g_lngRegResult.
#include <cstdint>
#include <string>
#include <variant>

#include "core/context.h"
#include "ports/registry_store.h"

namespace lp {

// A registry value as the program sees it: text (REG_SZ) or a 32-bit number
// (REG_DWORD). A read that fails gives the empty text.
struct RegValue {
    std::variant<std::string, int32_t> data = std::string();

    RegValue() = default;
    RegValue(std::string text) : data(std::move(text)) {}
    RegValue(const char* text) : data(std::string(text)) {}
    RegValue(int32_t number) : data(number) {}

    bool isNumber() const { return std::holds_alternative<int32_t>(data); }
    // The value as text: a number in decimal, as a comparison with text sees it.
    std::string text() const;
};

bool RegKeyExists(Context& ctx, HKEY root, const std::string& keyPath);
RegValue RegReadValue(Context& ctx, HKEY root, const std::string& keyPath, const std::string& valueName);
void RegWriteValue(Context& ctx, HKEY root, const std::string& keyPath, const std::string& valueName,
                   const RegValue& value);

} // namespace lp
