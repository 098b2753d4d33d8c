#include "core/json_check.h"

#include "core/utf8.h"

namespace lp {

namespace {

class Checker {
public:
    explicit Checker(std::string_view text) : t_(text) {}

    bool document(std::vector<JsonMemberSpan>* members)
    {
        blanks();
        if (!object(0, members))
            return false;
        blanks();
        return p_ == t_.size();
    }

private:
    bool more() const { return p_ < t_.size(); }
    char peek() const { return more() ? t_[p_] : '\0'; }

    void blanks()
    {
        while (more() && (t_[p_] == ' ' || t_[p_] == '\t' || t_[p_] == '\n' || t_[p_] == '\r'))
            ++p_;
    }

    bool literal(std::string_view word)
    {
        if (t_.substr(p_, word.size()) != word)
            return false;
        p_ += word.size();
        return true;
    }

    static bool isHex(char c) { return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'f') || (c >= 'A' && c <= 'F'); }
    static bool isDigit(char c) { return c >= '0' && c <= '9'; }

    bool string()
    {
        if (peek() != '"')
            return false;
        ++p_;
        while (more()) {
            const auto c = static_cast<unsigned char>(t_[p_]);
            // UTF-8 only: an entry passed on must stay JSON for any reader.
            if (c >= 0x80) {
                if (DecodeUtf8(t_, p_) == kNotUtf8)
                    return false;
                continue;
            }
            ++p_;
            if (c == '"')
                return true;
            if (c < 0x20)
                return false;
            if (c != '\\')
                continue;
            const char e = peek();
            ++p_;
            if (e == 'u') {
                for (int i = 0; i < 4; ++i, ++p_)
                    if (!isHex(peek()))
                        return false;
            } else if (std::string_view("\"\\/bfnrt").find(e) == std::string_view::npos || e == '\0') {
                return false;
            }
        }
        return false;
    }

    bool digits()
    {
        if (!isDigit(peek()))
            return false;
        while (isDigit(peek()))
            ++p_;
        return true;
    }

    bool number()
    {
        if (peek() == '-')
            ++p_;
        if (peek() == '0')
            ++p_;
        else if (!digits())
            return false;
        if (peek() == '.') {
            ++p_;
            if (!digits())
                return false;
        }
        if (peek() == 'e' || peek() == 'E') {
            ++p_;
            if (peek() == '+' || peek() == '-')
                ++p_;
            if (!digits())
                return false;
        }
        return true;
    }

    bool value(int depth)
    {
        switch (peek()) {
        case '{':
            return object(depth + 1, nullptr);
        case '[':
            return array(depth + 1);
        case '"':
            return string();
        case 't':
            return literal("true");
        case 'f':
            return literal("false");
        case 'n':
            return literal("null");
        default:
            return number();
        }
    }

    bool object(int depth, std::vector<JsonMemberSpan>* members)
    {
        if (depth > kMaxJsonDepth || peek() != '{')
            return false;
        ++p_;
        blanks();
        if (peek() == '}') {
            ++p_;
            return true;
        }
        for (;;) {
            blanks();
            const size_t keyStart = p_;
            if (!string())
                return false;
            const size_t keyEnd = p_;
            blanks();
            if (peek() != ':')
                return false;
            ++p_;
            blanks();
            const size_t valueStart = p_;
            if (!value(depth))
                return false;
            if (members)
                members->push_back({std::string(t_.substr(keyStart + 1, keyEnd - keyStart - 2)), valueStart, p_});
            blanks();
            if (peek() == '}') {
                ++p_;
                return true;
            }
            if (peek() != ',')
                return false;
            ++p_;
        }
    }

    bool array(int depth)
    {
        if (depth > kMaxJsonDepth || peek() != '[')
            return false;
        ++p_;
        blanks();
        if (peek() == ']') {
            ++p_;
            return true;
        }
        for (;;) {
            blanks();
            if (!value(depth))
                return false;
            blanks();
            if (peek() == ']') {
                ++p_;
                return true;
            }
            if (peek() != ',')
                return false;
            ++p_;
        }
    }

    std::string_view t_;
    size_t p_ = 0;
};

} // namespace

bool CheckJsonObject(std::string_view text, std::vector<JsonMemberSpan>* members)
{
    std::vector<JsonMemberSpan> found;
    if (!Checker(text).document(members ? &found : nullptr))
        return false;
    if (members)
        *members = std::move(found);
    return true;
}

} // namespace lp
