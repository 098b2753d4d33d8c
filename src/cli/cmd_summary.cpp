// linkport summary: the Summary screen's rows for the configured adapter,
// read by the same procedures.
#include <cstdio>
#include <vector>

#include "cli/session.h"
#include "operations/summary_reading.h"
#include "ports/choice_list.h"
#include "adapters/wireless/modWLP.h"
#include "ports/host.h"
#include "core/string_table.h"

namespace lp::cli {

namespace {

class RowsView final : public SummaryView {
public:
    explicit RowsView(size_t rows) : values(rows) {}
    void setRowValue(int row, const std::string& value) override
    {
        if (row >= 1 && static_cast<size_t>(row) <= values.size())
            values[static_cast<size_t>(row) - 1] = value;
    }
    std::string rowValue(int row) const override
    {
        return row >= 1 && static_cast<size_t>(row) <= values.size() ? values[static_cast<size_t>(row) - 1]
                                                                       : std::string();
    }
    void setMainWindowEnabled(bool) override {}
    void showConnectingDialog(const std::string& adapterName) override
    {
        if (!adapterName.empty())
            std::fprintf(stderr, "Connecting to %s ...\n", adapterName.c_str());
    }
    void unloadConnectingDialog() override {}
    void showAdapterState(const std::string& text) override { state = text; }
    std::vector<std::string> values;
    std::string state; // a known state of the adapter, such as its loader answering
};

// How long the wireless adapter's three answers may take in all.
constexpr int32_t kWirelessReadMs = 15000;

// False when no wireless adapter is listed (a configuration error).
bool readWireless(Session& s, RowsView& view)
{
    Context& c = s.ctx;
    view.setRowValue(WLPRow::Driver, WLPDriverVersion(c));
    ChoiceItems list;
    if (!WLPFillList(c, list) || c.g_astrWLPNames.empty()) {
        s.prompts.msgBox("No adapters are listed!  Please go to Preferences and Add an adapter.",
                         MsgBoxStyle::OkOnly + MsgBoxStyle::Exclamation, LoadResString(Res::ProgramTitle));
        return false;
    }
    list.selected = WLPFindSelectedIndex(c, list);
    WirelessSummaryReader reader(c, view);
    reader.select(list);
    TcpSocket* socket = reader.TCPSocket();
    if (socket && c.ports.host) {
        // The last answer closes the socket; an error closes it too.
        c.ports.host->waitUntil([socket] { return socket->state() == TcpState::Closed; }, kWirelessReadMs);
    }
    return true;
}

} // namespace

int runSummary(Session& s)
{
    if (!s.args.operands.empty())
        return fail(s, kExitUsage, "summary takes no operands");
    Context& c = s.ctx;
    c.g_strDeviceKind = SummaryDeviceKind(c);
    const SummaryLayout layout = SummaryLayoutFor(c.g_strDeviceKind);
    if (layout.captions.empty())
        return fail(s, kExitUsage, "no adapter is configured: linkport config set device lp2|compact|wireless");
    RowsView view(layout.captions.size());
    std::string silence;
    if (c.g_strDeviceKind == kKindWireless) {
        if (!readWireless(s, view))
            return fail(s, kExitUsage, s.prompts.messages().back().text);
        // The screen shows "Not Present" rows and stays; a script needs to
        // know that nothing answered.
        const std::string none = LoadResString(Res::NotPresent);
        if (view.state.empty() && view.rowValue(WLPRow::Hardware) == none
            && view.rowValue(WLPRow::Application) == none && view.rowValue(WLPRow::Boot) == none)
            silence = "the wireless adapter " + view.rowValue(WLPRow::Adapter) + " at "
                      + view.rowValue(WLPRow::Address) + " did not answer: check that it is powered and on this "
                      + "network";
    } else if (c.ports.serialPorts) {
        std::unique_ptr<SerialPort> connection = c.ports.serialPorts->create();
        if (c.g_strDeviceKind == kKindLP2)
            ReadLp2Summary(c, *connection, view);
        else
            ReadCompactSummary(c, *connection, view);
    }

    s.json.beginObject().member("device_kind", c.g_strDeviceKind).member("heading", layout.heading);
    s.json.key("rows").beginArray();
    s.text = layout.heading + "\n";
    for (size_t i = 0; i < layout.captions.size(); ++i) {
        s.json.beginObject().member("description", layout.captions[i]).member("value", view.values[i]).endObject();
        s.text += "  " + layout.captions[i] + "\t" + view.values[i] + "\n";
    }
    s.json.endArray();
    // The rows keep "Not Present"; what the technician can do about it
    // comes after them.
    if (!view.state.empty()) {
        s.json.member("adapter_state", view.state);
        s.text += std::string("  ") + kAdapterStateCaption + "\t" + view.state + "\n";
    }
    if (!silence.empty()) {
        s.json.member("error", silence);
        std::fprintf(stderr, "linkport: %s\n", silence.c_str());
    }
    s.json.endObject();
    // An error box, or an adapter that answers only from its loader, means
    // the adapter could not be read as it should.
    return s.prompts.messages().empty() && silence.empty() && view.state.empty() ? kExitDone : kExitFailed;
}

} // namespace lp::cli
