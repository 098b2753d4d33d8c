#pragma once
// A fresh folder per test, removed with everything in it when the test ends.
#include <string>
#include <string_view>

namespace lp::test {

class TempDir {
public:
    TempDir();
    ~TempDir();
    TempDir(const TempDir&) = delete;
    TempDir& operator=(const TempDir&) = delete;

    const std::string& path() const { return path_; }
    // path() + "/" + name.
    std::string file(std::string_view name) const;

private:
    std::string path_;
};

// Plain whole-file helpers for setting up and checking test files (binary,
// no line-end translation). readFile gives "" for a missing file.
void writeFile(const std::string& path, std::string_view contents);
std::string readFile(const std::string& path);
bool fileExists(const std::string& path);

} // namespace lp::test
