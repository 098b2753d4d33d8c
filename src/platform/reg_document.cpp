#include "platform/reg_document.h"

#include "core/ascii.h"

#include <algorithm>

#include "ports/registry_store.h"

namespace lp {

namespace {

constexpr std::string_view kHeader5 = "Windows Registry Editor Version 5.00";
constexpr std::string_view kHeader4 = "REGEDIT4";
constexpr std::string_view kRootName = "HKEY_LOCAL_MACHINE";
// regedit breaks long hex lines near this column.
constexpr size_t kHexLineWidth = 80;

char foldChar(char c)
{
    return (c >= 'A' && c <= 'Z') ? static_cast<char>(c - 'A' + 'a') : c;
}

std::string fold(std::string_view text)
{
    std::string out(text);
    for (char& c : out)
        c = foldChar(c);
    return out;
}

bool equalsFolded(std::string_view a, std::string_view b)
{
    return a.size() == b.size() && std::equal(a.begin(), a.end(), b.begin(), [](char x, char y) {
               return foldChar(x) == foldChar(y);
           });
}

bool startsWithFolded(std::string_view text, std::string_view prefix)
{
    return text.size() >= prefix.size() && equalsFolded(text.substr(0, prefix.size()), prefix);
}

bool isBlank(char c)
{
    return c == ' ' || c == '\t';
}

std::string_view trimLeft(std::string_view s)
{
    size_t i = 0;
    while (i < s.size() && isBlank(s[i]))
        ++i;
    return s.substr(i);
}

std::string_view trimRight(std::string_view s)
{
    size_t n = s.size();
    while (n > 0 && isBlank(s[n - 1]))
        --n;
    return s.substr(0, n);
}

std::string_view trim(std::string_view s)
{
    return trimRight(trimLeft(s));
}

// 1 to 8 hexadecimal digits and nothing else.
std::optional<uint32_t> parseHex32(std::string_view s)
{
    if (s.empty() || s.size() > 8)
        return std::nullopt;
    uint32_t v = 0;
    for (char c : s) {
        int d = hexDigitValue(c);
        if (d < 0)
            return std::nullopt;
        v = (v << 4) | static_cast<uint32_t>(d);
    }
    return v;
}

// "01,02,ff" (blanks allowed around bytes, a trailing comma tolerated).
std::optional<std::string> parseHexBytes(std::string_view s)
{
    std::string out;
    s = trim(s);
    if (s.empty())
        return out;
    out.reserve(s.size() / 3 + 1);
    size_t pos = 0;
    while (pos <= s.size()) {
        size_t comma = s.find(',', pos);
        size_t end = comma == std::string_view::npos ? s.size() : comma;
        std::string_view token = trim(s.substr(pos, end - pos));
        bool last = comma == std::string_view::npos;
        if (token.empty()) {
            if (!last)
                return std::nullopt;
            break; // "01,02," - the final comma of a wrapped line
        }
        if (token.size() > 2)
            return std::nullopt;
        auto v = parseHex32(token);
        if (!v)
            return std::nullopt;
        out.push_back(static_cast<char>(*v));
        if (last)
            break;
        pos = comma + 1;
    }
    return out;
}

// A quoted text starting at s[pos] == '"'; only \\ and \" are escapes. On
// success `pos` is just past the closing quote.
std::optional<std::string> parseQuoted(std::string_view s, size_t& pos)
{
    if (pos >= s.size() || s[pos] != '"')
        return std::nullopt;
    std::string out;
    for (size_t i = pos + 1; i < s.size(); ++i) {
        char c = s[i];
        if (c == '"') {
            pos = i + 1;
            return out;
        }
        if (c == '\\' && i + 1 < s.size() && (s[i + 1] == '\\' || s[i + 1] == '"')) {
            out.push_back(s[++i]);
            continue;
        }
        out.push_back(c);
    }
    return std::nullopt;
}

std::string quote(std::string_view text)
{
    std::string out;
    out.reserve(text.size() + 2);
    out.push_back('"');
    for (char c : text) {
        if (c == '\\' || c == '"')
            out.push_back('\\');
        out.push_back(c);
    }
    out.push_back('"');
    return out;
}

// The value name of a value line and the position just past its '='.
std::optional<std::string> parseValueName(std::string_view line, size_t& pos)
{
    pos = 0;
    std::string name;
    if (!line.empty() && line[0] == '@') {
        pos = 1;
    } else {
        auto quoted = parseQuoted(line, pos);
        if (!quoted)
            return std::nullopt;
        name = std::move(*quoted);
    }
    while (pos < line.size() && isBlank(line[pos]))
        ++pos;
    if (pos >= line.size() || line[pos] != '=')
        return std::nullopt;
    ++pos;
    while (pos < line.size() && isBlank(line[pos]))
        ++pos;
    return name;
}

// The data part of a value line, after the '='.
std::optional<RegData> parseValueData(std::string_view data)
{
    data = trimRight(data);
    RegData out;
    if (!data.empty() && data[0] == '"') {
        size_t pos = 0;
        auto text = parseQuoted(data, pos);
        if (!text || pos != data.size())
            return std::nullopt;
        out.type = REG_SZ;
        out.bytes = std::move(*text);
        out.bytes.push_back('\0');
        return out;
    }
    if (startsWithFolded(data, "dword:")) {
        auto v = parseHex32(trim(data.substr(6)));
        if (!v)
            return std::nullopt;
        out.type = REG_DWORD;
        for (int i = 0; i < 4; ++i)
            out.bytes.push_back(static_cast<char>((*v >> (8 * i)) & 0xFF));
        return out;
    }
    if (startsWithFolded(data, "hex:")) {
        auto bytes = parseHexBytes(data.substr(4));
        if (!bytes)
            return std::nullopt;
        out.type = REG_BINARY;
        out.bytes = std::move(*bytes);
        return out;
    }
    if (startsWithFolded(data, "hex(")) {
        size_t close = data.find(')');
        if (close == std::string_view::npos || close + 1 >= data.size() || data[close + 1] != ':')
            return std::nullopt;
        auto type = parseHex32(data.substr(4, close - 4));
        auto bytes = parseHexBytes(data.substr(close + 2));
        if (!type || !bytes)
            return std::nullopt;
        out.type = *type;
        out.bytes = std::move(*bytes);
        return out;
    }
    return std::nullopt;
}

std::string lowerHex(uint32_t v, int minDigits)
{
    static const char digits[] = "0123456789abcdef";
    std::string out;
    do {
        out.insert(out.begin(), digits[v & 0xF]);
        v >>= 4;
    } while (v != 0);
    while (static_cast<int>(out.size()) < minDigits)
        out.insert(out.begin(), '0');
    return out;
}

// A REG_SZ goes in quotes only when quoting gives back the same bytes: one
// final NUL, no other, and nothing that would break the line.
bool quotable(const RegData& data)
{
    const std::string& b = data.bytes;
    if (b.empty() || b.back() != '\0')
        return false;
    return b.find_first_of(std::string_view("\0\r\n", 3)) == b.size() - 1;
}

std::string serializeValue(std::string_view name, const RegData& data, const std::string& nl)
{
    std::string out = name.empty() ? std::string("@") : quote(name);
    out.push_back('=');
    if (data.type == REG_SZ && quotable(data)) {
        out += quote(std::string_view(data.bytes).substr(0, data.bytes.size() - 1));
    } else if (data.type == REG_DWORD && data.bytes.size() == 4) {
        uint32_t v = 0;
        for (int i = 3; i >= 0; --i)
            v = (v << 8) | static_cast<uint8_t>(data.bytes[static_cast<size_t>(i)]);
        out += "dword:" + lowerHex(v, 8);
    } else {
        out += data.type == REG_BINARY ? std::string("hex:") : "hex(" + lowerHex(data.type, 1) + "):";
        size_t lineStart = 0;
        for (size_t i = 0; i < data.bytes.size(); ++i) {
            std::string piece = lowerHex(static_cast<uint8_t>(data.bytes[i]), 2);
            if (i + 1 < data.bytes.size())
                piece.push_back(',');
            if (out.size() - lineStart + piece.size() + 1 > kHexLineWidth && i > 0) {
                out += "\\" + nl + "  ";
                lineStart = out.size() - 2;
            }
            out += piece;
        }
    }
    out += nl;
    return out;
}

void appendUtf8(std::string& out, uint32_t cp)
{
    if (cp < 0x80) {
        out.push_back(static_cast<char>(cp));
    } else if (cp < 0x800) {
        out.push_back(static_cast<char>(0xC0 | (cp >> 6)));
        out.push_back(static_cast<char>(0x80 | (cp & 0x3F)));
    } else if (cp < 0x10000) {
        out.push_back(static_cast<char>(0xE0 | (cp >> 12)));
        out.push_back(static_cast<char>(0x80 | ((cp >> 6) & 0x3F)));
        out.push_back(static_cast<char>(0x80 | (cp & 0x3F)));
    } else {
        out.push_back(static_cast<char>(0xF0 | (cp >> 18)));
        out.push_back(static_cast<char>(0x80 | ((cp >> 12) & 0x3F)));
        out.push_back(static_cast<char>(0x80 | ((cp >> 6) & 0x3F)));
        out.push_back(static_cast<char>(0x80 | (cp & 0x3F)));
    }
}

// regedit on Windows exports UTF-16LE with a byte-order mark; we keep UTF-8.
std::string utf16leToUtf8(std::string_view in)
{
    std::string out;
    out.reserve(in.size() / 2);
    auto unit = [&](size_t i) {
        return static_cast<uint32_t>(static_cast<uint8_t>(in[i]) | (static_cast<uint8_t>(in[i + 1]) << 8));
    };
    for (size_t i = 2; i + 1 < in.size(); i += 2) {
        uint32_t u = unit(i);
        if (u >= 0xD800 && u <= 0xDBFF && i + 3 < in.size()) {
            uint32_t low = unit(i + 2);
            if (low >= 0xDC00 && low <= 0xDFFF) {
                appendUtf8(out, 0x10000 + ((u - 0xD800) << 10) + (low - 0xDC00));
                i += 2;
                continue;
            }
        }
        appendUtf8(out, (u >= 0xD800 && u <= 0xDFFF) ? 0xFFFD : u);
    }
    return out;
}

} // namespace

std::optional<std::string> normalizeRegKeyPath(std::string_view path)
{
    while (!path.empty() && path.back() == '\\')
        path.remove_suffix(1);
    if (path.find_first_of("\r\n]") != std::string_view::npos)
        return std::nullopt;
    if (!path.empty() && (path.front() == '\\' || path.find("\\\\") != std::string_view::npos))
        return std::nullopt;
    return std::string(path);
}

bool isStorableRegValueName(std::string_view name)
{
    return name.find_first_of("\r\n") == std::string_view::npos;
}

RegDocument::RegDocument()
{
    Section preamble;
    preamble.generatedHeader = std::string(kHeader5) + newline_;
    sections_.push_back(std::move(preamble));
    spelling_.emplace("", "");
}

namespace {

// One physical line of `src` at `pos`: its content and the start of the next.
std::string_view physicalLineAt(const std::string& src, size_t pos, size_t& next)
{
    size_t end = src.find_first_of("\r\n", pos);
    next = end + ((src[end] == '\r' && end + 1 < src.size() && src[end + 1] == '\n') ? 2 : 1);
    return std::string_view(src).substr(pos, end - pos);
}

// Wrapped hex data: "01,02,\" then "  03,...". A line that starts something
// else ends the value even after a '\'. `next` moves past the lines taken.
void joinWrappedHex(const std::string& src, std::string& logical, size_t& next)
{
    while (!trimRight(logical).empty() && trimRight(logical).back() == '\\' && next < src.size()) {
        size_t after = 0;
        std::string_view cont = trim(physicalLineAt(src, next, after));
        if (cont.empty() || cont[0] == '[' || cont[0] == '"' || cont[0] == '@' || cont[0] == ';')
            break;
        logical.resize(trimRight(logical).size() - 1);
        logical.append(cont);
        next = after;
    }
}

} // namespace

void RegDocument::addKeySection(std::string_view content, size_t begin, size_t end)
{
    Section section;
    section.headerBegin = begin;
    section.headerEnd = end;
    sections_.push_back(std::move(section));
    std::string_view header = trimRight(content);
    size_t close = header.rfind(']');
    std::string_view inner = close == std::string_view::npos ? std::string_view() : header.substr(1, close - 1);
    std::string_view root = inner.substr(0, inner.find('\\'));
    if (equalsFolded(root, kRootName)) {
        std::string_view rest = inner.substr(root.size());
        if (!rest.empty())
            rest.remove_prefix(1);
        if (auto path = normalizeRegKeyPath(rest))
            indexSection(sections_.size() - 1, *path);
    }
}

RegDocument RegDocument::parse(std::string_view text)
{
    if (text.size() >= 2 && static_cast<uint8_t>(text[0]) == 0xFF && static_cast<uint8_t>(text[1]) == 0xFE) {
        return parse(utf16leToUtf8(text));
    }
    if (trim(text).find_first_not_of("\r\n") == std::string_view::npos)
        return RegDocument(); // a new or emptied file

    RegDocument doc;
    doc.sections_.clear();
    doc.sections_.emplace_back(); // the lines before the first key
    doc.source_.assign(text);
    if (doc.source_.back() != '\n' && doc.source_.back() != '\r')
        doc.source_.push_back('\n'); // so that every line ends, and a value can follow it
    const std::string& src = doc.source_;
    size_t firstBreak = src.find_first_of("\r\n");
    doc.newline_ = src.compare(firstBreak, 2, "\r\n") == 0 ? "\r\n" : src.substr(firstBreak, 1);

    const auto lineAt = [&src](size_t pos, size_t& next) { return physicalLineAt(src, pos, next); };

    bool headerChecked = false;
    doc.hasHeader_ = false;
    size_t pos = 0;
    while (pos < src.size()) {
        size_t next = 0;
        std::string_view line = lineAt(pos, next);
        if (pos == 0 && line.substr(0, 3) == "\xEF\xBB\xBF")
            line.remove_prefix(3);
        std::string_view content = trimLeft(line);
        Section& current = doc.sections_.back();
        Entry raw;
        raw.rawBegin = pos;
        raw.rawEnd = next;

        if (!headerChecked && !trim(content).empty()) {
            headerChecked = true;
            std::string_view first = trimRight(content);
            if (equalsFolded(first, kHeader5) || equalsFolded(first, kHeader4)) {
                doc.hasHeader_ = true;
                current.entries.push_back(raw);
                pos = next;
                continue;
            }
        }

        if (!content.empty() && content[0] == '[') {
            doc.addKeySection(content, pos, next);
            pos = next;
            continue;
        }

        if (current.addressable && !content.empty() && (content[0] == '"' || content[0] == '@')) {
            size_t dataPos = 0;
            auto name = parseValueName(content, dataPos);
            if (name) {
                std::string logical(content.substr(dataPos));
                if (startsWithFolded(logical, "hex"))
                    joinWrappedHex(src, logical, next);
                if (auto data = parseValueData(logical)) {
                    Entry value;
                    value.rawBegin = pos;
                    value.rawEnd = next;
                    value.isValue = true;
                    value.name = std::move(*name);
                    value.data = std::move(*data);
                    current.entries.push_back(std::move(value));
                    pos = next;
                    continue;
                }
                raw.rawEnd = next; // the whole unreadable value stays as it was
            }
        }
        current.entries.push_back(raw);
        pos = next;
    }
    return doc;
}

void RegDocument::indexSection(size_t index, std::string_view spelledPath)
{
    Section& section = sections_[index];
    section.addressable = true;
    section.folded = fold(spelledPath);
    sectionsOf_[section.folded].push_back(index);
    // The key and each of its parents exist from here on; the first spelling
    // seen is the one kept.
    size_t end = spelledPath.size();
    while (true) {
        std::string_view prefix = spelledPath.substr(0, end);
        if (!spelling_.emplace(fold(prefix), std::string(prefix)).second)
            break; // parents were registered with it
        if (prefix.empty())
            break;
        size_t slash = prefix.rfind('\\');
        end = slash == std::string_view::npos ? 0 : slash;
    }
}

size_t RegDocument::appendSection(const std::string& spelledPath)
{
    Section section;
    section.generatedHeader = newline_ + "[" + std::string(kRootName) +
                              (spelledPath.empty() ? "" : "\\" + spelledPath) + "]" + newline_;
    sections_.push_back(std::move(section));
    indexSection(sections_.size() - 1, spelledPath);
    return sections_.size() - 1;
}

std::string RegDocument::text() const
{
    std::string out;
    out.reserve(source_.size() + 256);
    for (const Section& section : sections_) {
        if (!section.generatedHeader.empty())
            out += section.generatedHeader;
        else
            out.append(source_, section.headerBegin, section.headerEnd - section.headerBegin);
        for (const Entry& entry : section.entries) {
            if (entry.generated)
                out += serializeValue(entry.name, entry.data, newline_);
            else
                out.append(source_, entry.rawBegin, entry.rawEnd - entry.rawBegin);
        }
    }
    return out;
}

bool RegDocument::keyExists(std::string_view path) const
{
    return spelling_.count(fold(path)) != 0;
}

const RegData* RegDocument::findValue(std::string_view path, std::string_view name) const
{
    auto it = sectionsOf_.find(fold(path));
    if (it == sectionsOf_.end())
        return nullptr;
    const RegData* found = nullptr; // a value given twice: the later one counts, as on import
    for (size_t index : it->second) {
        for (const Entry& entry : sections_[index].entries) {
            if (entry.isValue && equalsFolded(entry.name, name))
                found = &entry.data;
        }
    }
    return found;
}

bool RegDocument::createKey(std::string_view path)
{
    if (keyExists(path))
        return false;
    ensureSection(path);
    return true;
}

size_t RegDocument::ensureSection(std::string_view path)
{
    std::string folded = fold(path);
    if (auto it = sectionsOf_.find(folded); it != sectionsOf_.end())
        return it->second.back();
    if (auto it = spelling_.find(folded); it != spelling_.end())
        return appendSection(it->second); // a parent that only its children's headers imply
    // Missing parents first, each spelled as it already exists.
    std::string spelled;
    size_t start = 0;
    while (true) {
        size_t slash = path.find('\\', start);
        std::string_view prefix = path.substr(0, slash == std::string_view::npos ? path.size() : slash);
        auto known = spelling_.find(fold(prefix));
        if (known != spelling_.end()) {
            spelled = known->second;
        } else {
            std::string_view part = prefix.substr(start);
            spelled = spelled.empty() ? std::string(part) : spelled + "\\" + std::string(part);
            if (slash != std::string_view::npos)
                appendSection(spelled);
        }
        if (slash == std::string_view::npos)
            break;
        start = slash + 1;
    }
    return appendSection(spelled);
}

void RegDocument::setValue(std::string_view path, std::string_view name, RegData data)
{
    Entry* existing = nullptr;
    if (auto it = sectionsOf_.find(fold(path)); it != sectionsOf_.end()) {
        for (size_t index : it->second) {
            for (Entry& entry : sections_[index].entries) {
                if (entry.isValue && equalsFolded(entry.name, name))
                    existing = &entry;
            }
        }
    }
    if (existing) {
        existing->generated = true;
        existing->data = std::move(data);
        return;
    }
    Section& section = sections_[ensureSection(path)];
    // After the key's last value, so blank lines and comments that lead into
    // the next key stay in front of it.
    size_t at = 0;
    for (size_t i = 0; i < section.entries.size(); ++i) {
        if (section.entries[i].isValue)
            at = i + 1;
    }
    Entry entry;
    entry.generated = true;
    entry.isValue = true;
    entry.name = std::string(name);
    entry.data = std::move(data);
    section.entries.insert(section.entries.begin() + static_cast<std::ptrdiff_t>(at), std::move(entry));
}

} // namespace lp
