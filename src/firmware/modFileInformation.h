#pragma once
// The version text of an executable or driver file, as the Summary screen
// shows it ("PC Driver Version" and its kin).
#include <cstdint>
#include <string>

#include "core/context.h"

namespace lp {

// The file version of `path` written major "." minor(00) "." then either
// build(00) "." revision(00) or, when the low value is below 1, the whole low
// value as "0000". Empty when the file is missing or has no version resource
// (also when ctx has no FileVersionReader).
std::string GetFileVersion(Context& ctx, const std::string& path);

// The formatting alone, over the fixed block's two values.
std::string FormatFileVersion(int32_t fileVersionMS, int32_t fileVersionLS);

// The word helpers. HiWord divides by 65535, not 65536, and takes one
// off a negative value: the versions users compare with their records are
// computed so, and must not change under their feet.
int32_t HiWord(int32_t value);
int16_t LoWord(int32_t value);

} // namespace lp
