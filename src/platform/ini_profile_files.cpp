#include "platform/ini_profile_files.h"

#include "core/ascii.h"

#include <algorithm>
#include <filesystem>
#include <system_error>
#include <utility>
#include <vector>

#include "platform/atomic_file.h"
#include "platform/windows_directory.h"

namespace lp {

namespace fs = std::filesystem;

namespace {

bool isBlank(char c)
{
    return c == ' ' || c == '\t';
}

std::string_view trimBlanks(std::string_view s)
{
    while (!s.empty() && isBlank(s.front()))
        s.remove_prefix(1);
    while (!s.empty() && isBlank(s.back()))
        s.remove_suffix(1);
    return s;
}

bool sameName(std::string_view a, std::string_view b)
{
    return a.size() == b.size() &&
           std::equal(a.begin(), a.end(), b.begin(), [](char x, char y) { return asciiLower(x) == asciiLower(y); });
}

// One physical line: content [begin, end), line end [end, next).
struct Line {
    size_t begin = 0;
    size_t end = 0;
    size_t next = 0;
};

enum class LineKind { Other, Section, Key };

struct Classified {
    LineKind kind = LineKind::Other;
    std::string_view name;  // section or key name, trimmed
    size_t nameEnd = 0;     // offset just past the key name in the file
    std::string_view value; // raw value, trimmed (keys only)
};

class LineReader {
public:
    explicit LineReader(std::string_view data) : data_(data)
    {
        // A UTF-8 byte-order mark is not part of the first line's text.
        if (data_.substr(0, 3) == "\xEF\xBB\xBF")
            pos_ = 3;
    }

    bool next(Line& line)
    {
        if (pos_ >= data_.size())
            return false;
        line.begin = pos_;
        size_t i = data_.find_first_of("\r\n", pos_);
        if (i == std::string_view::npos) {
            line.end = line.next = data_.size();
        } else {
            line.end = i;
            line.next = (data_[i] == '\r' && i + 1 < data_.size() && data_[i + 1] == '\n') ? i + 2 : i + 1;
        }
        pos_ = line.next;
        return true;
    }

private:
    std::string_view data_;
    size_t pos_ = 0;
};

Classified classify(std::string_view data, const Line& line)
{
    Classified c;
    std::string_view text = data.substr(line.begin, line.end - line.begin);
    size_t p = 0;
    while (p < text.size() && isBlank(text[p]))
        ++p;
    if (p < text.size() && text[p] == '[') {
        size_t close = text.find(']', p + 1);
        if (close != std::string_view::npos) {
            c.kind = LineKind::Section;
            c.name = trimBlanks(text.substr(p + 1, close - p - 1));
            return c;
        }
        // An unclosed header is read like any other line.
    }
    size_t eq = text.find('=', p);
    if (eq == std::string_view::npos)
        return c;
    std::string_view rawKey = text.substr(p, eq - p);
    std::string_view name = trimBlanks(rawKey);
    if (!name.empty() && name.front() == ';')
        return c;
    c.kind = LineKind::Key;
    c.name = name;
    c.nameEnd = line.begin + p + name.size();
    c.value = trimBlanks(text.substr(eq + 1));
    return c;
}

std::string_view unquote(std::string_view v)
{
    if (v.size() >= 2 && (v.front() == '"' || v.front() == '\'') && v.back() == v.front())
        return v.substr(1, v.size() - 2);
    return v;
}

// The line end that new lines get: the file's own, else CR LF.
std::string_view lineEndOf(std::string_view data)
{
    size_t i = data.find_first_of("\r\n");
    if (i == std::string_view::npos)
        return "\r\n";
    if (data[i] == '\n')
        return "\n";
    return (i + 1 < data.size() && data[i + 1] == '\n') ? std::string_view("\r\n") : std::string_view("\r");
}

bool isContinuation(char c)
{
    return (static_cast<unsigned char>(c) & 0xC0) == 0x80;
}

// Copies at most `limit` bytes of `text`. A well-formed UTF-8 sequence that
// does not fit is dropped whole rather than split; other bytes cut anywhere.
std::string cutToLimit(std::string_view text, size_t limit)
{
    if (text.size() <= limit)
        return std::string(text);
    size_t cut = limit;
    if (isContinuation(text[cut])) {
        size_t lead = cut;
        while (lead > 0 && cut - lead < 3 && isContinuation(text[lead]))
            --lead;
        const unsigned char first = static_cast<unsigned char>(text[lead]);
        const size_t length = first >= 0xF8 ? 0 : first >= 0xF0 ? 4 : first >= 0xE0 ? 3 : first >= 0xC0 ? 2 : 0;
        if (length > 0 && lead + length > cut && lead + length <= text.size()) {
            bool wellFormed = true;
            for (size_t k = lead + 1; k < lead + length; ++k)
                wellFormed = wellFormed && isContinuation(text[k]);
            if (wellFormed)
                cut = lead;
        }
    }
    return std::string(text.substr(0, cut));
}

std::string toForwardSlashes(std::string s)
{
    std::replace(s.begin(), s.end(), '\\', '/');
    return s;
}

// The entry of `folder` whose name matches `name` ignoring ASCII case; the
// exact spelling first, else the first match in byte order.
std::string findEntry(const fs::path& folder, const std::string& name)
{
    std::error_code ec;
    if (fs::exists(fs::symlink_status(folder / name, ec)))
        return name;
    std::string best;
    fs::directory_iterator it(folder, fs::directory_options::skip_permission_denied, ec);
    for (; !ec && it != fs::directory_iterator(); it.increment(ec)) {
        std::string entry = it->path().filename().string();
        if (sameName(entry, name) && (best.empty() || entry < best))
            best = std::move(entry);
    }
    return best;
}

bool hasLineBreakOrNul(std::string_view s)
{
    return s.find_first_of(std::string_view("\r\n\0", 3)) != std::string_view::npos;
}

// The one key of a file whatever the spelling of its name: the folder as
// found, the name in lower case.
std::string fileKey(const std::string& path)
{
    const fs::path p(path);
    return (p.parent_path() / ("." + asciiLowered(p.filename().string()))).string();
}

void appendUtf8(std::string& out, char32_t cp)
{
    if (cp < 0x80) {
        out += static_cast<char>(cp);
    } else if (cp < 0x800) {
        out += static_cast<char>(0xC0 | (cp >> 6));
        out += static_cast<char>(0x80 | (cp & 0x3F));
    } else if (cp < 0x10000) {
        out += static_cast<char>(0xE0 | (cp >> 12));
        out += static_cast<char>(0x80 | ((cp >> 6) & 0x3F));
        out += static_cast<char>(0x80 | (cp & 0x3F));
    } else {
        out += static_cast<char>(0xF0 | (cp >> 18));
        out += static_cast<char>(0x80 | ((cp >> 12) & 0x3F));
        out += static_cast<char>(0x80 | ((cp >> 6) & 0x3F));
        out += static_cast<char>(0x80 | (cp & 0x3F));
    }
}

// UTF-16 to UTF-8; false when the units are not well formed (an odd byte
// count or a lone surrogate, which come out as U+FFFD).
bool utf16ToUtf8(std::string_view raw, bool bigEndian, std::string& out)
{
    bool wellFormed = raw.size() % 2 == 0;
    const size_t units = raw.size() / 2;
    auto unit = [&](size_t i) -> char16_t {
        const auto a = static_cast<unsigned char>(raw[2 * i]);
        const auto b = static_cast<unsigned char>(raw[2 * i + 1]);
        return static_cast<char16_t>(bigEndian ? (a << 8 | b) : (b << 8 | a));
    };
    out.clear();
    out.reserve(raw.size());
    for (size_t i = 0; i < units; ++i) {
        const char16_t u = unit(i);
        if (u >= 0xD800 && u <= 0xDBFF && i + 1 < units && unit(i + 1) >= 0xDC00 && unit(i + 1) <= 0xDFFF) {
            appendUtf8(out, 0x10000 + ((static_cast<char32_t>(u) - 0xD800) << 10) + (unit(i + 1) - 0xDC00));
            ++i;
        } else if (u >= 0xD800 && u <= 0xDFFF) {
            appendUtf8(out, 0xFFFD);
            wellFormed = false;
        } else {
            appendUtf8(out, u);
        }
    }
    return wellFormed;
}

bool utf8ToUtf16(std::string_view text, bool bigEndian, std::string& out)
{
    auto put = [&](char16_t u) {
        const char hi = static_cast<char>(u >> 8), lo = static_cast<char>(u & 0xFF);
        out += bigEndian ? hi : lo;
        out += bigEndian ? lo : hi;
    };
    for (size_t i = 0; i < text.size();) {
        const auto c = static_cast<unsigned char>(text[i]);
        const size_t length = c < 0x80 ? 1 : c >= 0xF0 && c < 0xF5 ? 4 : c >= 0xE0 ? 3 : c >= 0xC2 ? 2 : 0;
        if (length == 0 || c >= 0xF5 || i + length > text.size())
            return false;
        char32_t cp = length == 1 ? c : c & (0xFF >> (length + 1));
        for (size_t k = 1; k < length; ++k) {
            if (!isContinuation(text[i + k]))
                return false;
            cp = cp << 6 | (static_cast<unsigned char>(text[i + k]) & 0x3F);
        }
        const char32_t least[] = {0, 0, 0x80, 0x800, 0x10000};
        if (cp < least[length] || cp > 0x10FFFF || (cp >= 0xD800 && cp <= 0xDFFF))
            return false;
        if (cp >= 0x10000) {
            put(static_cast<char16_t>(0xD800 + ((cp - 0x10000) >> 10)));
            put(static_cast<char16_t>(0xDC00 + ((cp - 0x10000) & 0x3FF)));
        } else {
            put(static_cast<char16_t>(cp));
        }
        i += length;
    }
    return true;
}

// Every other byte zero, from the first on (big-endian) or the second on
// (little-endian): ASCII text in UTF-16 without a mark. Checked on the first
// bytes only, which are the section header or a comment in any INI file.
bool looksLikeUnmarkedUtf16(std::string_view raw, bool bigEndian)
{
    const size_t pairs = std::min<size_t>(raw.size() / 2, 64);
    if (pairs < 2)
        return false;
    size_t zeros = 0;
    for (size_t i = 0; i < pairs; ++i) {
        const char zero = raw[2 * i + (bigEndian ? 0 : 1)];
        const char other = raw[2 * i + (bigEndian ? 1 : 0)];
        if (other == '\0')
            return false;
        zeros += zero == '\0';
    }
    return zeros * 4 >= pairs * 3;
}

// The first byte that no text file holds: NUL and control characters other
// than tab, line ends, form feed and the DOS end-of-file mark.
size_t firstNonTextByte(std::string_view text)
{
    for (size_t i = 0; i < text.size(); ++i) {
        const auto c = static_cast<unsigned char>(text[i]);
        if (c < 0x20 && c != '\t' && c != '\n' && c != '\r' && c != '\f' && c != 0x1A)
            return i;
    }
    return std::string_view::npos;
}

} // namespace

IniFileText iniDecode(std::string_view bytes)
{
    using Encoding = IniFileText::Encoding;
    IniFileText result;
    const bool markLE = bytes.substr(0, 2) == "\xFF\xFE";
    const bool markBE = bytes.substr(0, 2) == "\xFE\xFF";
    if (markLE || markBE || looksLikeUnmarkedUtf16(bytes, false) || looksLikeUnmarkedUtf16(bytes, true)) {
        const bool bigEndian = markBE || (!markLE && looksLikeUnmarkedUtf16(bytes, true));
        result.encoding = markLE ? Encoding::Utf16LE
                          : markBE ? Encoding::Utf16BE
                                   : bigEndian ? Encoding::Utf16BEUnmarked : Encoding::Utf16LEUnmarked;
        if (!utf16ToUtf8(bytes.substr(markLE || markBE ? 2 : 0), bigEndian, result.text))
            result.notWritable = "holds UTF-16 text that is cut or broken";
        else if (!markLE && !markBE)
            result.notWritable = "is UTF-16 text without a byte-order mark, which Windows reads as 8-bit text";
    } else {
        result.text.assign(bytes);
    }
    if (result.notWritable.empty()) {
        if (const size_t at = firstNonTextByte(result.text); at != std::string_view::npos)
            result.notWritable = "is not a text file (a control character at byte " + std::to_string(at + 1) + ")";
    }
    return result;
}

bool iniEncode(std::string_view text, IniFileText::Encoding encoding, std::string& bytes)
{
    using Encoding = IniFileText::Encoding;
    bytes.clear();
    switch (encoding) {
    case Encoding::Bytes:
        bytes.assign(text);
        return true;
    case Encoding::Utf16LE:
        bytes = "\xFF\xFE";
        return utf8ToUtf16(text, false, bytes);
    case Encoding::Utf16BE:
        bytes = "\xFE\xFF";
        return utf8ToUtf16(text, true, bytes);
    case Encoding::Utf16LEUnmarked:
        return utf8ToUtf16(text, false, bytes);
    case Encoding::Utf16BEUnmarked:
        return utf8ToUtf16(text, true, bytes);
    }
    return false;
}

bool iniFindValue(std::string_view file, std::string_view section, std::string_view key, std::string& value)
{
    LineReader reader(file);
    Line line;
    bool inSection = false;
    while (reader.next(line)) {
        Classified c = classify(file, line);
        if (c.kind == LineKind::Section) {
            // Only the first section of a name is read.
            if (inSection)
                return false;
            inSection = sameName(c.name, section);
        } else if (c.kind == LineKind::Key && inSection && sameName(c.name, key)) {
            std::string_view v = unquote(c.value);
            value.assign(v.substr(0, v.find('\0')));
            return true;
        }
    }
    return false;
}

std::string iniSetValue(std::string_view file, std::string_view section, std::string_view key,
                        std::string_view value)
{
    const std::string_view eol = lineEndOf(file);
    LineReader reader(file);
    Line line;
    bool inSection = false;
    bool sectionFound = false;
    size_t insertAt = 0; // after the section's last key line, or its header
    while (reader.next(line)) {
        Classified c = classify(file, line);
        if (c.kind == LineKind::Section) {
            if (inSection)
                break;
            if (sameName(c.name, section)) {
                inSection = sectionFound = true;
                insertAt = line.next;
            }
        } else if (c.kind == LineKind::Key && inSection) {
            if (sameName(c.name, key)) {
                // Replace from the end of the key's name to the end of its
                // line: indentation and the name's casing stay as they were.
                std::string out;
                out.reserve(file.size() + value.size() + 1);
                out.append(file.substr(0, c.nameEnd));
                out.push_back('=');
                out.append(value);
                out.append(file.substr(line.end));
                return out;
            }
            insertAt = line.next;
        }
    }

    std::string out;
    out.reserve(file.size() + section.size() + key.size() + value.size() + 8);
    if (sectionFound) {
        out.append(file.substr(0, insertAt));
        const bool lineEnded = insertAt > 0 && (file[insertAt - 1] == '\n' || file[insertAt - 1] == '\r');
        if (!lineEnded)
            out.append(eol);
        out.append(key).append("=").append(value).append(eol);
        out.append(file.substr(insertAt));
        return out;
    }
    out.append(file);
    if (!file.empty() && file.back() != '\n' && file.back() != '\r')
        out.append(eol);
    out.append("[").append(section).append("]").append(eol);
    out.append(key).append("=").append(value).append(eol);
    return out;
}

struct IniProfileFiles::OpenFile {
    std::string fileName; // as the caller named it
    std::string path;     // as found
    std::string key;      // fileKey(path)
    std::unique_ptr<FileLock> lock;
    IniFileText contents; // as read
    std::string readError; // the file is there but cannot be read
    bool changed = false;
};

IniProfileFiles::IniProfileFiles(std::string windowsDirectory) : windowsDirectory_(std::move(windowsDirectory))
{
    while (windowsDirectory_.size() > 1 && (windowsDirectory_.back() == '/' || windowsDirectory_.back() == '\\'))
        windowsDirectory_.pop_back();
}

IniProfileFiles::IniProfileFiles() : IniProfileFiles(defaultWindowsDirectory()) {}

IniProfileFiles::~IniProfileFiles() = default;

std::string IniProfileFiles::locate(const std::string& fileName) const
{
    std::string name = toForwardSlashes(fileName);
    if (name.empty() || name.back() == '/')
        return {};
    if (name.find('/') == std::string::npos) {
        if (windowsDirectory_.empty())
            return {};
        name = toForwardSlashes(windowsDirectory_) + "/" + name;
    }

    // Walk the path a folder at a time, taking each entry as the file system
    // spells it.
    const fs::path wanted(name);
    fs::path current = wanted.root_path();
    std::vector<std::string> parts;
    for (const fs::path& part : wanted.relative_path())
        parts.push_back(part.string());
    for (size_t i = 0; i < parts.size(); ++i) {
        const std::string& part = parts[i];
        const bool last = i + 1 == parts.size();
        if (part.empty() || part == "." || part == "..") {
            if (last)
                return {};
            current /= part;
            continue;
        }
        const fs::path folder = current.empty() ? fs::path(".") : current;
        std::error_code ec;
        if (!fs::is_directory(folder, ec))
            return {};
        std::string found = findEntry(folder, part);
        current /= found.empty() ? part : found;
        if (found.empty() && !last)
            return {};
    }
    return current.string();
}

uint32_t IniProfileFiles::getPrivateProfileString(const std::string& section, const std::string& key,
                                                  const std::string& defaultValue, std::string& out,
                                                  uint32_t nSize, const std::string& fileName)
{
    out.clear();
    if (nSize == 0)
        return 0;

    std::string value;
    bool found = false;
    const std::string path = locate(fileName);
    std::string data;
    // A file we cannot or will not read (missing, too large, not a file)
    // gives the default, as a missing file does on Windows.
    if (const OpenFile* open = path.empty() ? nullptr : findOpen(path)) {
        if (open->readError.empty())
            found = iniFindValue(open->contents.text, trimBlanks(section), trimBlanks(key), value);
    } else if (!path.empty() && readWholeFile(path, data, maxFileBytes(), nullptr)) {
        found = iniFindValue(iniDecode(data).text, trimBlanks(section), trimBlanks(key), value);
    }
    if (!found) {
        std::string_view d = defaultValue;
        while (!d.empty() && d.back() == ' ')
            d.remove_suffix(1);
        value.assign(d.substr(0, d.find('\0')));
    }
    out = cutToLimit(value, nSize - 1);
    return static_cast<uint32_t>(out.size());
}

bool IniProfileFiles::writePrivateProfileString(const std::string& section, const std::string& key,
                                                const std::string& value, const std::string& fileName)
{
    lastError_.clear();
    const std::string_view sectionName = trimBlanks(section);
    const std::string_view keyName = trimBlanks(key);
    if (hasLineBreakOrNul(sectionName) || hasLineBreakOrNul(keyName)) {
        lastError_ = "a section or key name cannot hold a line break";
        return false;
    }
    std::string_view text = value;
    text = text.substr(0, text.find_first_of(std::string_view("\r\n\0", 3)));

    OpenFile* file = nullptr;
    OpenFile single;
    if (const std::string path = locate(fileName); !path.empty())
        file = findOpen(path);
    if (!file) {
        if (!open(fileName, single))
            return false;
        file = &single;
    }
    if (!file->readError.empty()) {
        lastError_ = file->readError;
        return false;
    }
    if (!file->contents.notWritable.empty()) {
        lastError_ = file->path + " " + file->contents.notWritable + "; it is left as it is";
        return false;
    }
    std::string updated = iniSetValue(file->contents.text, sectionName, keyName, text);
    if (updated != file->contents.text) {
        file->contents.text = std::move(updated);
        file->changed = true;
    }
    return file == &single ? commit(single) : true;
}

IniProfileFiles::OpenFile* IniProfileFiles::findOpen(const std::string& path)
{
    const std::string key = fileKey(path);
    for (auto& file : change_) {
        if (file->key == key)
            return file.get();
    }
    return nullptr;
}

bool IniProfileFiles::open(const std::string& fileName, OpenFile& file)
{
    file.fileName = fileName;
    file.path = locate(fileName);
    if (file.path.empty()) {
        lastError_ = "no folder for " + fileName;
        return false;
    }
    // One lock for every spelling of the name, so that two writers cannot
    // create "lp2rp32.ini" and "LP2RP32.INI" side by side.
    file.lock = std::make_unique<FileLock>(fileKey(file.path));
    if (!file.lock->locked()) {
        lastError_ = file.lock->error();
        return false;
    }
    // Another writer may have created the file while we waited.
    file.path = locate(fileName);
    if (file.path.empty()) {
        lastError_ = "no folder for " + fileName;
        return false;
    }
    file.key = fileKey(file.path);
    std::error_code ec;
    const fs::file_status status = fs::status(file.path, ec);
    if (status.type() != fs::file_type::not_found) {
        // Anything there that we cannot read whole is left alone: writing
        // over it would lose it.
        std::string data;
        if (!readWholeFile(file.path, data, maxFileBytes(), &file.readError))
            return true;
        file.contents = iniDecode(data);
    }
    return true;
}

bool IniProfileFiles::commit(OpenFile& file)
{
    if (!file.changed)
        return true;
    std::string bytes;
    if (!iniEncode(file.contents.text, file.contents.encoding, bytes)) {
        lastError_ = file.path + ": the new values cannot be written in the file's UTF-16";
        return false;
    }
    if (bytes.size() > maxFileBytes()) {
        lastError_ = file.path + ": would grow past " + std::to_string(maxFileBytes()) + " bytes";
        return false;
    }
    if (!replaceFileAtomically(file.path, bytes, &lastError_))
        return false;
    file.changed = false;
    return true;
}

bool IniProfileFiles::beginChange(const std::vector<std::string>& fileNames)
{
    lastError_.clear();
    std::vector<std::unique_ptr<OpenFile>> added;
    for (const std::string& name : fileNames) {
        const std::string path = locate(name);
        if (!path.empty() && findOpen(path))
            continue;
        auto file = std::make_unique<OpenFile>();
        if (!open(name, *file))
            return false; // the files taken so far are let go with `added`
        bool twice = false;
        for (const auto& other : added)
            twice = twice || other->key == file->key;
        if (!twice)
            added.push_back(std::move(file));
    }
    for (auto& file : added)
        change_.push_back(std::move(file));
    ++changeDepth_;
    return true;
}

bool IniProfileFiles::endChange(bool commitWrites)
{
    if (changeDepth_ == 0)
        return false;
    if (--changeDepth_ > 0)
        return true;
    bool ok = true;
    if (commitWrites) {
        // In the order named: a change spanning files lists first what the
        // others rely on, so a kill between two replaces leaves a state the
        // program reads correctly.
        for (auto& file : change_) {
            if (!(ok = commit(*file)))
                break;
        }
    }
    change_.clear();
    return ok;
}

} // namespace lp
