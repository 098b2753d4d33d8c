#include "operations/help_file.h"

#include <filesystem>
#include <iterator>
#include <system_error>

#include "core/vb_text.h"
#include "settings/modRegistry.h"

namespace lp {

namespace {

constexpr const char* kCandidates[] = {"Linkport Toolkit.chm", "LinkportToolkit.chm", "Fieldscope.chm",
                                       "index.html", "index.htm"};

// A folder with more entries than this is not a help folder worth scanning.
constexpr int kMaxEntries = 20000;

} // namespace

std::string FindHelpFileInFolder(const std::string& folder)
{
    namespace fs = std::filesystem;
    if (folder.empty())
        return std::string();
    std::error_code ec;
    if (!fs::is_directory(folder, ec))
        return std::string();

    std::string best;
    size_t bestRank = std::size(kCandidates);
    fs::directory_iterator it(folder, fs::directory_options::skip_permission_denied, ec);
    int seen = 0;
    for (; !ec && it != fs::directory_iterator() && seen < kMaxEntries; it.increment(ec), ++seen) {
        std::error_code fileEc;
        if (!it->is_regular_file(fileEc))
            continue;
        const std::string name = vb::UCase(it->path().filename().string());
        for (size_t rank = 0; rank < bestRank; ++rank) {
            if (name == vb::UCase(kCandidates[rank])) {
                best = it->path().string();
                bestRank = rank;
                break;
            }
        }
    }
    return best;
}

std::string ServiceToolHelpFile(Context& ctx)
{
    const std::string folder = RegReadValue(ctx, HKEY_LOCAL_MACHINE, kServiceToolHelpKey, "Path").text();
    return FindHelpFileInFolder(vb::Trim(folder));
}

} // namespace lp
