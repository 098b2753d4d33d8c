#pragma once
// The Windows FileVersionReader: the system's own version calls.
#ifdef _WIN32
#include "ports/file_version_reader.h"

namespace lp {

class Win32FileVersionReader final : public FileVersionReader {
public:
    std::optional<FixedFileVersion> fileVersion(const std::string& path) override;
};

} // namespace lp
#endif
