#include "platform/ini_profile_files.h"

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

char asciiLower(char c)
{
    return (c >= 'A' && c <= 'Z') ? static_cast<char>(c - 'A' + 'a') : c;
}

bool sameName(std::string_view a, std::string_view b)
{
    return a.size() == b.size() &&
           std::equal(a.begin(), a.end(), b.begin(), [](char x, char y) { return asciiLower(x) == asciiLower(y); });
}

std::string lowerCopy(std::string_view s)
{
    std::string out(s);
    for (char& c : out)
        c = asciiLower(c);
    return out;
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

} // namespace

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

IniProfileFiles::IniProfileFiles(std::string windowsDirectory) : windowsDirectory_(std::move(windowsDirectory))
{
    while (windowsDirectory_.size() > 1 && (windowsDirectory_.back() == '/' || windowsDirectory_.back() == '\\'))
        windowsDirectory_.pop_back();
}

IniProfileFiles::IniProfileFiles() : IniProfileFiles(defaultWindowsDirectory()) {}

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
    if (!path.empty() && readWholeFile(path, data, maxFileBytes(), nullptr))
        found = iniFindValue(data, trimBlanks(section), trimBlanks(key), value);
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

    std::string path = locate(fileName);
    if (path.empty()) {
        lastError_ = "no folder for " + fileName;
        return false;
    }
    // One lock for every spelling of the name, so that two writers cannot
    // create "lp2rp32.ini" and "LP2RP32.INI" side by side.
    const fs::path asFound(path);
    FileLock lock((asFound.parent_path() / ("." + lowerCopy(asFound.filename().string()))).string());
    if (!lock.locked()) {
        lastError_ = lock.error();
        return false;
    }
    // Another writer may have created the file while we waited.
    path = locate(fileName);
    if (path.empty()) {
        lastError_ = "no folder for " + fileName;
        return false;
    }

    std::string data;
    std::error_code ec;
    const fs::file_status status = fs::status(path, ec);
    if (status.type() != fs::file_type::not_found) {
        // Anything there that we cannot read whole is left alone: writing
        // over it would lose it.
        if (!readWholeFile(path, data, maxFileBytes(), &lastError_))
            return false;
    }

    std::string updated = iniSetValue(data, sectionName, keyName, text);
    if (updated == data)
        return true;
    if (updated.size() > maxFileBytes()) {
        lastError_ = path + ": would grow past " + std::to_string(maxFileBytes()) + " bytes";
        return false;
    }
    return replaceFileAtomically(path, updated, &lastError_);
}

} // namespace lp
