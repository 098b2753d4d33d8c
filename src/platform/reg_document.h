#pragma once
// The .reg export format as an editable document. Parsing never fails: lines
// it does not understand (comments, garbage, keys of other roots, deletion
// entries) are kept byte for byte, and a value the program does not change is
// written back exactly as it was read, so a hand-edited file survives our
// writes. Key and value names compare without regard to ASCII case, as on
// Windows, and a key keeps the spelling it was first given.
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace lp {

// A value's type and raw data bytes (a REG_SZ includes its NULs, if any).
struct RegData {
    uint32_t type = 0;
    std::string bytes;
    bool operator==(const RegData&) const = default;
};

// A key path below the root with trailing backslashes removed ("A\B\" names
// "A\B"). Nullopt when a component is empty ("\A", "A\\B") or the path holds a
// line break or a closing bracket, which the file could not represent.
std::optional<std::string> normalizeRegKeyPath(std::string_view path);

// Whether a value name can be written into the file (no line breaks).
bool isStorableRegValueName(std::string_view name);

class RegDocument {
public:
    // An empty registry: just the format line.
    RegDocument();

    // Reads .reg text (UTF-8, or UTF-16LE with its byte-order mark).
    static RegDocument parse(std::string_view text);

    // The first non-blank line names the format. A file without it is not
    // taken for a registry file (it is read, but the store will not write it).
    bool hasHeader() const { return hasHeader_; }

    std::string text() const;

    // `path` and `name` as the caller spells them; `path` normalised.
    bool keyExists(std::string_view path) const;
    const RegData* findValue(std::string_view path, std::string_view name) const;
    // Adds the key and any missing parents; false when it already existed.
    bool createKey(std::string_view path);
    // Creates the key if needed; a value that exists keeps its place and name.
    void setValue(std::string_view path, std::string_view name, RegData data);

private:
    // A "[key]" line at begin..end: a new section, indexed when its root is ours.
    void addKeySection(std::string_view content, size_t begin, size_t end);
    struct Entry {
        size_t rawBegin = 0, rawEnd = 0; // span of source_ while unchanged
        bool generated = false;
        bool isValue = false;
        std::string name;
        RegData data;
    };
    struct Section {
        size_t headerBegin = 0, headerEnd = 0;
        std::string generatedHeader; // used instead of the span when set
        bool addressable = false;    // a well-formed key of our root
        std::string folded;
        std::vector<Entry> entries;
    };

    void indexSection(size_t index, std::string_view spelledPath);
    size_t appendSection(const std::string& spelledPath);
    size_t ensureSection(std::string_view path);

    std::string source_;
    std::string newline_ = "\n";
    bool hasHeader_ = true;
    std::vector<Section> sections_;
    // Folded key path -> its sections, in file order (a key may repeat).
    std::unordered_map<std::string, std::vector<size_t>> sectionsOf_;
    // Folded path of every existing key, parents included -> first spelling.
    std::unordered_map<std::string, std::string> spelling_;
};

} // namespace lp
