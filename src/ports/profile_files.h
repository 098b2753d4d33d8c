#pragma once
// The ProfileFiles port: Windows-style INI files as GetPrivateProfileStringA
// and WritePrivateProfileStringA see them (see docs/architecture.md for the
// rules the emulation keeps).
#include <cstdint>
#include <string>
#include <vector>

namespace lp {

class ProfileFiles {
public:
    virtual ~ProfileFiles() = default;

    // Copies the value (or the default, without its trailing blanks) into
    // `out`, cut to nSize - 1 characters, and returns the number of characters
    // copied. A file name without a directory names a file in the Windows
    // directory. nSize 0 gives 0 and an empty `out`.
    virtual uint32_t getPrivateProfileString(const std::string& section, const std::string& key,
                                             const std::string& defaultValue, std::string& out,
                                             uint32_t nSize, const std::string& fileName) = 0;

    // Writes key=value into the section, creating file, section or key as
    // needed, and replaces the file atomically. False when the file could not
    // be written; the old file is then untouched.
    virtual bool writePrivateProfileString(const std::string& section, const std::string& key,
                                           const std::string& value, const std::string& fileName) = 0;

    // The Windows directory (GetWindowsDirectoryA / %windir%), without a
    // trailing separator.
    virtual std::string windowsDirectory() = 0;

    // Several writes as one change of the settings. From beginChange until
    // endChange the named files are locked against other writers, other
    // programs included, so a read-modify-write cannot lose another's
    // update; reads of them see the files as they were at the start plus
    // the writes made since. endChange(true) writes each changed file once,
    // atomically, in the order the files were named, so that a program
    // killed at any moment leaves each file wholly old or wholly new;
    // endChange(false) drops the writes. A change inside a change joins it
    // (adding any file not yet in it); only the outermost end writes. False
    // when a file cannot be locked or written (lastError() says why).
    // Without files of its own a port writes at once: these do nothing.
    virtual bool beginChange(const std::vector<std::string>& fileNames)
    {
        (void)fileNames;
        return true;
    }
    virtual bool endChange(bool commit)
    {
        (void)commit;
        return true;
    }

    // Why the last write or change failed, naming the file; empty when the
    // port knows no reason.
    virtual std::string lastError() const { return {}; }
};

// A change (see beginChange) for as long as the object lives: commit()
// writes it, anything else drops it.
class ProfileChange {
public:
    ProfileChange(ProfileFiles* files, const std::vector<std::string>& fileNames)
        : files_(files), open_(files && files->beginChange(fileNames))
    {
    }
    ~ProfileChange()
    {
        if (open_)
            files_->endChange(false);
    }
    ProfileChange(const ProfileChange&) = delete;
    ProfileChange& operator=(const ProfileChange&) = delete;

    // False when the files could not be locked; nothing may be written then.
    bool begun() const { return open_; }
    bool commit()
    {
        if (!open_)
            return false;
        open_ = false;
        return files_->endChange(true);
    }

private:
    ProfileFiles* files_;
    bool open_;
};

} // namespace lp
