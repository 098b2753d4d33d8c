#include "support/temp_dir.h"

#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <stdexcept>
#include <system_error>

namespace lp::test {

namespace fs = std::filesystem;

TempDir::TempDir()
{
    std::random_device random;
    std::error_code ec;
    const fs::path base = fs::temp_directory_path(ec);
    for (int attempt = 0; attempt < 100; ++attempt) {
        fs::path candidate = base / ("lp-test-" + std::to_string(random()) + std::to_string(random()));
        if (fs::create_directory(candidate, ec)) {
            path_ = candidate.string();
            return;
        }
    }
    throw std::runtime_error("cannot create a temporary folder under " + base.string());
}

TempDir::~TempDir()
{
    std::error_code ec;
    // Tests may leave read-only entries behind; restore access before removing.
    for (auto it = fs::recursive_directory_iterator(path_, fs::directory_options::skip_permission_denied, ec);
         !ec && it != fs::recursive_directory_iterator(); it.increment(ec)) {
        if (it->is_directory(ec) && !it->is_symlink(ec))
            fs::permissions(it->path(), fs::perms::owner_all, fs::perm_options::add, ec);
    }
    fs::remove_all(path_, ec);
}

std::string TempDir::file(std::string_view name) const
{
    return path_ + "/" + std::string(name);
}

void writeFile(const std::string& path, std::string_view contents)
{
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    out.write(contents.data(), static_cast<std::streamsize>(contents.size()));
    if (!out)
        throw std::runtime_error("cannot write " + path);
}

std::string readFile(const std::string& path)
{
    std::ifstream in(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

bool fileExists(const std::string& path)
{
    std::error_code ec;
    return fs::exists(fs::symlink_status(path, ec));
}

} // namespace lp::test
