#pragma once
// Stand-ins that record what procedures report to a screen, and a file
// version reader that answers from a table.
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "adapters/lp2/link_checks.h"
#include "operations/summary_reading.h"
#include "ports/file_version_reader.h"

namespace lp::test {

// Summary rows (1-7) and datalink test labels (1-5) alike.
struct RecordedRows final : SummaryView, AdapterTestReport {
    std::string rows[8];
    bool enabled = true;
    int dialogs = 0; // shown and not yet unloaded

    void setRowValue(int row, const std::string& value) override
    {
        if (row >= 1 && row <= 7)
            rows[row] = value;
    }
    std::string rowValue(int row) const override { return row >= 1 && row <= 7 ? rows[row] : std::string(); }
    void setMainWindowEnabled(bool on) override { enabled = on; }
    void showConnectingDialog(const std::string&) override { ++dialogs; }
    void unloadConnectingDialog() override { dialogs = dialogs > 0 ? dialogs - 1 : 0; }
    void showAdapterState(const std::string&) override {}
    void SetLabelResult(int16_t index, const std::string&, const std::string& text) override { setRowValue(index, text); }

    // Rows `first` to `last` joined by "|", "Not Present" written "NP".
    std::string joined(int first, int last) const
    {
        std::string s;
        for (int row = first; row <= last; ++row)
            s += (row > first ? "|" : "") + (rows[row] == "Not Present" ? std::string("NP") : rows[row]);
        return s;
    }
};

class FixedFileVersions final : public FileVersionReader {
public:
    std::map<std::string, FixedFileVersion> files;
    std::vector<std::string> asked;
    std::optional<FixedFileVersion> fileVersion(const std::string& path) override
    {
        asked.push_back(path);
        auto it = files.find(path);
        return it == files.end() ? std::nullopt : std::optional(it->second);
    }
};

} // namespace lp::test
