#pragma once
// The numbered string table: every user-visible message, title and label,
// and the two registry key paths, looked up by number.
#include <cstdint>
#include <string>

namespace lp {

// The text of entry `id`. An unknown number is a programming error: it is
// logged by the caller's context where available and gives the empty text.
std::string LoadResString(int16_t id);

// True when the table holds `id` (the brand-B block included).
bool HasResString(int16_t id);

} // namespace lp
