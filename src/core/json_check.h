#pragma once
// Checks that a text is one JSON object, whole and well formed, and tells
// where its top-level members' values lie. The flash log reads its lines
// with it: a line cut short by a full disk or glued to the next one must be
// told from an entry before it is passed on as JSON.
//
// Strict about text: a string that is not UTF-8 makes the object damaged, as
// RFC 8259 wants JSON exchanged as UTF-8. Bounded: nesting deeper than
// kMaxJsonDepth is refused, nothing is copied but the member names, and any
// bytes at all are accepted as input.
#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace lp {

inline constexpr int kMaxJsonDepth = 64;

struct JsonMemberSpan {
    std::string key;    // as written, escapes left as they are
    size_t begin = 0;   // the value's first character in the text
    size_t end = 0;     // one past its last
};

// True when `text` (blanks around it allowed) is exactly one JSON object.
// `members` (when given) receives the object's own members in order.
bool CheckJsonObject(std::string_view text, std::vector<JsonMemberSpan>* members = nullptr);

} // namespace lp
