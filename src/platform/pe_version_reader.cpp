#include "platform/pe_version_reader.h"

#include <algorithm>
#include <cctype>
#include <filesystem>
#include <fstream>
#include <system_error>
#include <utility>
#include <vector>

namespace lp {

namespace {

constexpr uint32_t kFixedInfoSignature = 0xFEEF04BD;
constexpr uint32_t kVersionResourceType = 16; // RT_VERSION
constexpr uint32_t kVersionInfoId = 1;        // VS_VERSION_INFO
constexpr uint32_t kSubdirectoryBit = 0x80000000u;
constexpr uint32_t kNameIsStringBit = 0x80000000u;
constexpr size_t kSectionHeaderSize = 40;
// VS_VERSIONINFO: wLength, wValueLength, wType, L"VS_VERSION_INFO" with its
// NUL (32 bytes) end at 38; the fixed block starts at the next 32-bit boundary.
constexpr size_t kFixedInfoOffset = 40;
constexpr size_t kFixedInfoSize = 52;
constexpr std::u16string_view kVersionInfoKey = u"VS_VERSION_INFO";

uint16_t u16(const std::string& b, size_t at)
{
    return static_cast<uint16_t>(static_cast<uint8_t>(b[at]) | static_cast<uint8_t>(b[at + 1]) << 8);
}

uint32_t u32(const std::string& b, size_t at)
{
    return static_cast<uint32_t>(u16(b, at)) | static_cast<uint32_t>(u16(b, at + 2)) << 16;
}

// Where the bytes come from. A read outside the image is refused, so a bad
// offset can never make us read (or allocate) more than the image holds.
class Source {
public:
    virtual ~Source() = default;
    virtual uint64_t size() const = 0;
    virtual bool read(uint64_t offset, size_t length, std::string& out) = 0;

protected:
    bool inRange(uint64_t offset, size_t length) const
    {
        return offset <= size() && length <= size() - offset;
    }
};

class MemorySource final : public Source {
public:
    explicit MemorySource(std::string_view image) : image_(image) {}
    uint64_t size() const override { return image_.size(); }
    bool read(uint64_t offset, size_t length, std::string& out) override
    {
        if (!inRange(offset, length))
            return false;
        out.assign(image_.substr(static_cast<size_t>(offset), length));
        return true;
    }

private:
    std::string_view image_;
};

class FileSource final : public Source {
public:
    explicit FileSource(const std::string& path) : file_(path, std::ios::binary)
    {
        if (!file_)
            return;
        file_.seekg(0, std::ios::end);
        std::streamoff end = file_.tellg();
        size_ = end > 0 ? static_cast<uint64_t>(end) : 0;
    }
    bool isOpen() const { return static_cast<bool>(file_); }
    uint64_t size() const override { return size_; }
    bool read(uint64_t offset, size_t length, std::string& out) override
    {
        if (!inRange(offset, length))
            return false;
        out.assign(length, '\0');
        file_.clear();
        file_.seekg(static_cast<std::streamoff>(offset));
        file_.read(out.data(), static_cast<std::streamsize>(length));
        return file_.gcount() == static_cast<std::streamsize>(length);
    }

private:
    std::ifstream file_;
    uint64_t size_ = 0;
};

struct Section {
    uint32_t virtualAddress = 0;
    uint32_t extent = 0; // bytes of the section that the file holds
    uint32_t rawOffset = 0;
};

struct Entry {
    uint32_t name;
    uint32_t offset;
};

bool isId(const Entry& e, uint32_t id) { return (e.name & kNameIsStringBit) == 0 && e.name == id; }

class PeImage {
public:
    explicit PeImage(Source& source) : source_(source) {}

    std::optional<FixedFileVersion> version()
    {
        if (!loadHeaders())
            return std::nullopt;
        // The tree has exactly three levels (type, name, language); we only
        // ever step down, so an entry that points back up cannot loop us.
        auto names = subdirectory(resourceRva_, [](const Entry& e) { return isId(e, kVersionResourceType); });
        if (!names)
            return std::nullopt;
        // VS_VERSION_INFO is resource 1; a file that names it otherwise still
        // has only the one.
        auto languages = subdirectory(*names, [](const Entry& e) { return isId(e, kVersionInfoId); });
        if (!languages)
            languages = subdirectory(*names, [](const Entry&) { return true; });
        if (!languages)
            return std::nullopt;
        auto data = firstDataEntry(*languages);
        if (!data)
            return std::nullopt;
        return fixedInfo(data->first, data->second);
    }

private:
    bool loadHeaders()
    {
        std::string dos;
        if (!source_.read(0, 64, dos) || dos[0] != 'M' || dos[1] != 'Z')
            return false;
        uint64_t peOffset = u32(dos, 0x3C);
        std::string coff;
        if (!source_.read(peOffset, 24, coff) || coff.compare(0, 4, std::string("PE\0\0", 4)) != 0)
            return false;
        uint16_t sectionCount = u16(coff, 6);
        uint16_t optionalSize = u16(coff, 20);

        std::string optional;
        if (!source_.read(peOffset + 24, optionalSize, optional) || optionalSize < 2)
            return false;
        size_t countAt = 0, directoriesAt = 0;
        switch (u16(optional, 0)) {
        case 0x10B: countAt = 92; directoriesAt = 96; break;   // PE32
        case 0x20B: countAt = 108; directoriesAt = 112; break; // PE32+
        default: return false;
        }
        constexpr size_t kResourceDirectory = 2;
        size_t resourceAt = directoriesAt + kResourceDirectory * 8;
        if (optional.size() < resourceAt + 8 || u32(optional, countAt) <= kResourceDirectory)
            return false;
        resourceRva_ = u32(optional, resourceAt);
        if (resourceRva_ == 0 || u32(optional, resourceAt + 4) == 0)
            return false;

        std::string table;
        if (!source_.read(peOffset + 24 + optionalSize, sectionCount * kSectionHeaderSize, table))
            return false;
        sections_.reserve(sectionCount);
        for (size_t i = 0; i < sectionCount; ++i) {
            size_t at = i * kSectionHeaderSize;
            uint32_t virtualSize = u32(table, at + 8);
            uint32_t rawSize = u32(table, at + 16);
            Section s;
            s.virtualAddress = u32(table, at + 12);
            // Bytes past the virtual size are file padding, not section data.
            s.extent = virtualSize != 0 ? std::min(virtualSize, rawSize) : rawSize;
            s.rawOffset = u32(table, at + 20);
            sections_.push_back(s);
        }
        return true;
    }

    // Reads `length` bytes at a relative virtual address; all of them must lie
    // in the file data of one section.
    bool readRva(uint64_t rva, size_t length, std::string& out)
    {
        for (const Section& s : sections_) {
            if (rva < s.virtualAddress)
                continue;
            uint64_t into = rva - s.virtualAddress;
            if (into > s.extent || length > s.extent - into)
                continue;
            return source_.read(s.rawOffset + into, length, out);
        }
        return false;
    }


    std::optional<std::vector<Entry>> entries(uint64_t directoryRva)
    {
        std::string header;
        if (!readRva(directoryRva, 16, header))
            return std::nullopt;
        size_t count = static_cast<size_t>(u16(header, 12)) + u16(header, 14);
        std::string raw;
        if (!readRva(directoryRva + 16, count * 8, raw))
            return std::nullopt;
        std::vector<Entry> list(count);
        for (size_t i = 0; i < count; ++i)
            list[i] = {u32(raw, i * 8), u32(raw, i * 8 + 4)};
        return list;
    }

    // The subdirectory of the first entry that `wanted` accepts; entry offsets
    // count from the start of the resource section.
    template <typename Wanted>
    std::optional<uint64_t> subdirectory(uint64_t directoryRva, Wanted wanted)
    {
        auto list = entries(directoryRva);
        if (!list)
            return std::nullopt;
        for (const Entry& e : *list) {
            if ((e.offset & kSubdirectoryBit) && wanted(e))
                return resourceRva_ + (e.offset & ~kSubdirectoryBit);
        }
        return std::nullopt;
    }

    // The data (address, size) of the first language of the version resource.
    std::optional<std::pair<uint32_t, uint32_t>> firstDataEntry(uint64_t directoryRva)
    {
        auto list = entries(directoryRva);
        if (!list)
            return std::nullopt;
        for (const Entry& e : *list) {
            if (e.offset & kSubdirectoryBit)
                continue;
            std::string data;
            if (!readRva(resourceRva_ + e.offset, 16, data))
                return std::nullopt;
            return std::make_pair(u32(data, 0), u32(data, 4));
        }
        return std::nullopt;
    }

    std::optional<FixedFileVersion> fixedInfo(uint32_t rva, uint32_t size)
    {
        constexpr size_t kNeeded = kFixedInfoOffset + kFixedInfoSize;
        std::string block;
        if (size < kNeeded || !readRva(rva, kNeeded, block))
            return std::nullopt;
        if (u16(block, 0) < kNeeded || u16(block, 2) < kFixedInfoSize)
            return std::nullopt;
        for (size_t i = 0; i <= kVersionInfoKey.size(); ++i) {
            char16_t expected = i < kVersionInfoKey.size() ? kVersionInfoKey[i] : u'\0';
            if (u16(block, 6 + 2 * i) != expected)
                return std::nullopt;
        }
        if (u32(block, kFixedInfoOffset) != kFixedInfoSignature)
            return std::nullopt;
        FixedFileVersion v;
        v.fileVersionMS = static_cast<int32_t>(u32(block, kFixedInfoOffset + 8));
        v.fileVersionLS = static_cast<int32_t>(u32(block, kFixedInfoOffset + 12));
        return v;
    }

    Source& source_;
    uint32_t resourceRva_ = 0;
    std::vector<Section> sections_;
};

// Only needed where file names are case-sensitive (not on Windows).
[[maybe_unused]] std::string lowerAscii(std::string text)
{
    for (char& c : text)
        c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    return text;
}

} // namespace

std::string resolveWindowsStylePath(const std::string& path)
{
    namespace fs = std::filesystem;
    std::error_code ec;
    if (path.empty())
        return {};
    if (fs::is_regular_file(path, ec))
        return path;
#ifdef _WIN32
    return {};
#else
    std::string slashed = path;
    std::replace(slashed.begin(), slashed.end(), '\\', '/');
    if (fs::is_regular_file(slashed, ec))
        return slashed;
    // Walk the parts, taking a differently-cased name where the exact one is
    // missing (Windows file names ignore case).
    fs::path current = slashed.front() == '/' ? fs::path("/") : fs::path(".");
    size_t start = 0;
    while (start <= slashed.size()) {
        size_t end = slashed.find('/', start);
        if (end == std::string::npos)
            end = slashed.size();
        std::string part = slashed.substr(start, end - start);
        start = end + 1;
        if (part.empty() || part == ".")
            continue;
        fs::path exact = current / part;
        if (part == ".." || fs::exists(exact, ec)) {
            current = exact;
            continue;
        }
        std::string wanted = lowerAscii(part);
        bool found = false;
        for (fs::directory_iterator it(current, ec), endIt; !ec && it != endIt; it.increment(ec)) {
            if (lowerAscii(it->path().filename().string()) == wanted) {
                current = it->path();
                found = true;
                break;
            }
        }
        if (!found)
            return {};
    }
    return fs::is_regular_file(current, ec) ? current.string() : std::string();
#endif
}

std::optional<FixedFileVersion> PeVersionReader::fromImage(std::string_view image)
{
    MemorySource source(image);
    return PeImage(source).version();
}

std::optional<FixedFileVersion> PeVersionReader::fileVersion(const std::string& path)
{
    std::string resolved = resolveWindowsStylePath(path);
    if (resolved.empty())
        return std::nullopt;
    FileSource source(resolved);
    if (!source.isOpen())
        return std::nullopt;
    return PeImage(source).version();
}

#ifndef _WIN32
std::unique_ptr<FileVersionReader> createPlatformFileVersionReader()
{
    return std::make_unique<PeVersionReader>();
}
#endif

} // namespace lp
