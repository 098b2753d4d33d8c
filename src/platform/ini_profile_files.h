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
//   Windows call fills. Other binary bytes are ordinary characters.
// - A UTF-8 byte-order mark at the start of a file is skipped when reading
//   and kept when writing.
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
#include <string>
#include <string_view>

#include "ports/profile_files.h"

namespace lp {

// The text rules alone, on a file's bytes. Section and key are compared as
// given (the caller trims them). iniFindValue gives the value with blanks
// and one matching outer quote pair removed, or false when the file has no
// such key. iniSetValue gives the file's new bytes.
bool iniFindValue(std::string_view file, std::string_view section, std::string_view key, std::string& value);
std::string iniSetValue(std::string_view file, std::string_view section, std::string_view key,
                        std::string_view value);

class IniProfileFiles final : public ProfileFiles {
public:
    // Bare file names resolve in this folder.
    explicit IniProfileFiles(std::string windowsDirectory);
    // Uses defaultWindowsDirectory().
    IniProfileFiles();

    uint32_t getPrivateProfileString(const std::string& section, const std::string& key,
                                     const std::string& defaultValue, std::string& out, uint32_t nSize,
                                     const std::string& fileName) override;
    bool writePrivateProfileString(const std::string& section, const std::string& key, const std::string& value,
                                   const std::string& fileName) override;
    std::string windowsDirectory() override { return windowsDirectory_; }

    // Why the last write failed (for the log).
    const std::string& lastError() const { return lastError_; }

    static constexpr size_t maxFileBytes() { return 16u * 1024u * 1024u; }

    // Where a file name leads: an existing file found case-insensitively, or
    // the path a new file would get. Empty when its folder does not exist.
    std::string locate(const std::string& fileName) const;

private:
    std::string windowsDirectory_;
    std::string lastError_;
};

} // namespace lp
