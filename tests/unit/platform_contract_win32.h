#pragma once
// Direct Win32 calls for the platform contract tests (Windows builds only).
#ifdef _WIN32
#include <string>

namespace lp::test {

// True inside Wine (its ntdll exports wine_get_version).
bool runningUnderWine();

// The folder of the running program.
std::string programFolder();

// Removes HKLM\<parent>\<child> and everything below it (32-bit view).
void deleteRegistryTree(const std::string& parent, const std::string& child);

// Holds COMn open for reading and writing, unshared, as a program using the
// port would.
class HeldPort {
public:
    explicit HeldPort(int port);
    ~HeldPort();
    HeldPort(const HeldPort&) = delete;
    HeldPort& operator=(const HeldPort&) = delete;
    bool held() const { return handle_ != nullptr; }

private:
    void* handle_ = nullptr;
};

} // namespace lp::test
#endif
