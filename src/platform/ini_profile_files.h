#pragma once
// ProfileFiles without Windows: our own INI reader and writer that give the
// results GetPrivateProfileStringA and WritePrivateProfileStringA give, so
// the driver INI files read and write the same on Linux as on a PC.
//
// Where Windows leaves the choice to us:
// - Names compare case-insensitively in ASCII only; other bytes compare
//   exactly. File names do the same, folder by folder; when two entries
//   differ only in case the exact spelling wins, else the first by byte order.
// - A NUL byte inside a value ends it, as it would end the C string that the
//   Windows call fills. Other binary bytes are ordinary characters to a
//   read; but a file holding a NUL or a control character other than tab,
//   line ends, form feed and end-of-file is no text file, and writes leave
//   it alone rather than append lines after what may be someone's data.
// - A UTF-8 byte-order mark at the start of a file is skipped when reading
//   and kept when writing. A UTF-16 file with its byte-order mark is read
//   and written as UTF-16, as Windows does. UTF-16 without a mark (text
//   whose every other byte is zero) is read as UTF-16 too, but not written:
//   Windows would take it for 8-bit text, so no way of writing it is right.
// - A read-only file is not written (see replaceFileAtomically).
// - A line without "=" is not a key: reads pass it by, writes keep it.
// - A cut never ends inside a UTF-8 sequence; the count is then the bytes
//   that were kept.
// - Written lines end like the file's first line does (CR LF, LF or CR);
//   CR LF in a file that has no line end yet. A last line without a line end
//   gets one only when a line has to follow it.
// - A value is written up to its first CR, LF or NUL (the part a later read
//   would see); a section or key name holding one of those is refused.
// - Files larger than maxFileBytes() read as missing and are never written.
#include <cstddef>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "ports/profile_files.h"

namespace lp {

// The text rules alone, on a file's bytes. Section and key are compared as
// given (the caller trims them). iniFindValue gives the value with blanks
// and one matching outer quote pair removed, or false when the file has no
// such key. iniSetValue gives the file's new bytes.
bool iniFindValue(std::string_view file, std::string_view section, std::string_view key, std::string& value);
std::string iniSetValue(std::string_view file, std::string_view section, std::string_view key,
                        std::string_view value);

// A file's bytes as the reader sees them.
struct IniFileText {
    enum class Encoding { Bytes, Utf16LE, Utf16BE, Utf16LEUnmarked, Utf16BEUnmarked };
    Encoding encoding = Encoding::Bytes;
    // The bytes themselves; UTF-8 (without the mark) for a UTF-16 file.
    std::string text;
    // Empty when a write may change the file; else why not ("is not a text
    // file", ...), to follow the file's path in a message.
    std::string notWritable;
};
IniFileText iniDecode(std::string_view bytes);
// The file's bytes for `text` in `encoding`; false when the text cannot be
// put in it (bytes that are not UTF-8 for a UTF-16 file).
bool iniEncode(std::string_view text, IniFileText::Encoding encoding, std::string& bytes);

class IniProfileFiles final : public ProfileFiles {
public:
    // Bare file names resolve in this folder.
    explicit IniProfileFiles(std::string windowsDirectory);
    // Uses defaultWindowsDirectory().
    IniProfileFiles();
    ~IniProfileFiles() override;

    uint32_t getPrivateProfileString(const std::string& section, const std::string& key,
                                     const std::string& defaultValue, std::string& out, uint32_t nSize,
                                     const std::string& fileName) override;
    bool writePrivateProfileString(const std::string& section, const std::string& key, const std::string& value,
                                   const std::string& fileName) override;
    std::string windowsDirectory() override { return windowsDirectory_; }
    bool beginChange(const std::vector<std::string>& fileNames) override;
    bool endChange(bool commit) override;

    // Why the last write failed, naming the file.
    std::string lastError() const override { return lastError_; }

    static constexpr size_t maxFileBytes() { return 16u * 1024u * 1024u; }

    // Where a file name leads: an existing file found case-insensitively, or
    // the path a new file would get. Empty when its folder does not exist.
    std::string locate(const std::string& fileName) const;

    struct OpenFile;

private:
    // Locks, finds and reads a file for writing; false (lastError_ set) when
    // it cannot be locked.
    bool open(const std::string& fileName, OpenFile& file);
    OpenFile* findOpen(const std::string& path);
    bool commit(OpenFile& file);

    std::string windowsDirectory_;
    std::string lastError_;
    // The files of the change in progress, in the order named.
    std::vector<std::unique_ptr<OpenFile>> change_;
    int changeDepth_ = 0;
};

} // namespace lp
