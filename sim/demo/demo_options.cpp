#include "demo/demo_options.h"

#include <arpa/inet.h>

#include <sstream>

#include "demo/demo_option_table.h"
#include "realtime/tcp_model_server.h"

namespace lp::sim {

namespace {

// One option as given on the command line.
struct GivenOption {
    const SimOption* option = nullptr;
    std::string given; // as written, for messages and the fault list
    std::string value;
    std::string address; // OPTION@ADDR
};

// Reads the option at args[i] and its value (args[i + 1] for "--name
// VALUE", which moves i on).
bool readOption(const std::vector<std::string>& args, size_t& i, GivenOption& out, std::string& error)
{
    const std::string& arg = args[i];
    if (arg.rfind("--", 0) != 0 || arg.size() == 2) {
        error = "unexpected argument \"" + arg + "\"";
        return false;
    }
    size_t equals = arg.find('=');
    std::string name = arg.substr(2, equals == std::string::npos ? std::string::npos : equals - 2);
    std::string address;
    if (size_t at = name.find('@'); at != std::string::npos) {
        address = name.substr(at + 1);
        name.erase(at);
    }
    const SimOption* option = findSimOption(name);
    if (!option) {
        error = "unknown option --" + name;
        return false;
    }
    if (!address.empty() && !std::holds_alternative<WirelessApply>(option->apply)) {
        error = "--" + name + " is not a wireless option; only those take @ADDR";
        return false;
    }
    std::string value;
    if (equals != std::string::npos) {
        if (option->value == OptionValue::None) {
            error = "--" + name + " takes no value";
            return false;
        }
        value = arg.substr(equals + 1);
    } else if (option->value == OptionValue::Required && i + 1 < args.size()) {
        value = args[++i];
    }
    if (option->value == OptionValue::Required && value.empty()) {
        error = "--" + name + " needs a value (" + option->valueName + ")";
        return false;
    }
    std::string given = "--" + (address.empty() ? name : name + "@" + address) + (value.empty() ? "" : "=" + value);
    out = {option, std::move(given), std::move(value), std::move(address)};
    return true;
}

// Applies an option of the wireless adapters to each of them, or to the one
// at its @ADDR.
bool applyWirelessOption(std::vector<DemoWireless>& adapters, const WirelessApply& apply, const GivenOption& given,
                         std::string& error)
{
    if (adapters.empty()) {
        error = given.given + " needs --wireless";
        return false;
    }
    bool matched = false;
    for (DemoWireless& w : adapters) {
        if (!given.address.empty() && w.address != given.address)
            continue;
        matched = true;
        std::string why;
        if (!apply(w, given.value, why)) {
            error = given.given + ": " + why;
            return false;
        }
        if (given.option->fault)
            w.faults.push_back(given.given);
    }
    if (!matched)
        error = given.given + ": no wireless adapter at " + given.address;
    return matched;
}

// Applies an option of one serial adapter, which must have been asked for.
template <typename Adapter, typename Apply>
bool applySerialOption(Adapter& adapter, const Apply& apply, const char* needs, const GivenOption& given,
                       std::string& error)
{
    if (!adapter.enabled) {
        error = given.given + " needs " + needs;
        return false;
    }
    std::string why;
    if (!apply(adapter, given.value, why)) {
        error = given.given + ": " + why;
        return false;
    }
    if (given.option->fault)
        adapter.faults.push_back(given.given);
    return true;
}

bool applyAdapterOption(DemoOptions& demo, const GivenOption& given, std::string& error)
{
    if (const auto* f = std::get_if<Lp2Apply>(&given.option->apply))
        return applySerialOption(demo.lp2, *f, "--lp2", given, error);
    if (const auto* f = std::get_if<CompactApply>(&given.option->apply))
        return applySerialOption(demo.compact, *f, "--compact", given, error);
    if (const auto* f = std::get_if<WirelessApply>(&given.option->apply))
        return applyWirelessOption(demo.wireless, *f, given, error);
    return true;
}

// What no single option can judge.
bool checkCombination(const SimCommand& command, std::string& error)
{
    const DemoOptions& demo = command.demo;
    if (!demo.lp2.enabled && !demo.compact.enabled && demo.wireless.empty())
        error = "choose at least one adapter: --lp2, --compact or --wireless";
    else if (command.printEnvironment && command.setupOnly)
        error = "--print-env runs in the background, --setup-only ends at once: choose one";
    else if (demo.lp2.enabled && demo.compact.enabled && demo.lp2.port == demo.compact.port)
        error = "--lp2 and --compact cannot share COM" + std::to_string(demo.lp2.port);
    return error.empty();
}
} // namespace

bool checkWirelessAddress(const std::string& address, std::string& error)
{
    in_addr a{};
    if (inet_pton(AF_INET, address.c_str(), &a) != 1) {
        error = "\"" + address + "\" is not an address such as 127.0.0.2";
        return false;
    }
    if ((ntohl(a.s_addr) >> 24) != 127) {
        error = "refused: " + address + " is not a loopback address; the simulator serves 127.0.0.0/8 only";
        return false;
    }
    if (!TcpModelServer::isServableAddress(address)) {
        error = "refused: the simulator serves the loopback addresses 127.0.0.1 to 127.0.0.254 only, not " + address;
        return false;
    }
    return true;
}

int parseSimArguments(const std::vector<std::string>& args, SimCommand& command, std::string& error)
{
    command = SimCommand{};
    error.clear();
    for (const auto& a : args) {
        if (a == "--help" || a == "-h") {
            command.action = SimCommand::Action::Help;
            return 0;
        }
        if (a == "--version") {
            command.action = SimCommand::Action::Version;
            return 0;
        }
    }
    std::vector<GivenOption> adapterOptions;
    for (size_t i = 0; i < args.size(); ++i) {
        GivenOption given;
        if (!readOption(args, i, given, error))
            return kUsageError;
        if (const auto* general = std::get_if<GeneralApply>(&given.option->apply)) {
            std::string why;
            if (!(*general)(command, given.value, why)) {
                error = why.rfind("refused", 0) == 0 ? why : "--" + std::string(given.option->name) + ": " + why;
                return kUsageError;
            }
        } else {
            adapterOptions.push_back(std::move(given));
        }
    }
    // Adapter options once the adapters are known, so their order on the
    // command line does not matter.
    for (const GivenOption& given : adapterOptions) {
        if (!applyAdapterOption(command.demo, given, error))
            return kUsageError;
    }
    return checkCombination(command, error) ? 0 : kUsageError;
}

std::string simUsage()
{
    constexpr size_t kHelpColumn = 30, kHelpWidth = 79;
    std::string text =
        "Usage: linkport-sim ADAPTERS [OPTIONS]\n"
        "\n"
        "Runs simulated Linkport adapters in real time, writes the settings that lead\n"
        "Linkport Toolkit to them, prints what it set up and runs until Ctrl-C (SIGINT\n"
        "or SIGTERM); then it closes everything and removes what it made. Start the\n"
        "program with the printed windir, LINKPORT_REGISTRY_FILE and\n"
        "LINKPORT_DOSDEVICES in its environment.\n"
        "\n"
        "Options take their value as --option=VALUE; those that need one also as\n"
        "--option VALUE. Wrong options end with exit code 2.\n";
    for (const SimOption& o : simOptionTable()) {
        if (!o.name) {
            text += std::string("\n") + o.help + "\n";
            continue;
        }
        std::string left = std::string("  --") + o.name;
        if (o.value == OptionValue::Optional)
            left += std::string("[=") + o.valueName + "]";
        else if (o.value == OptionValue::Required)
            left += std::string("=") + o.valueName;
        text += left;
        size_t column = left.size();
        if (column >= kHelpColumn) {
            text += "\n";
            column = 0;
        }
        // The help words, wrapped to the width of a terminal.
        std::istringstream words(o.help);
        bool first = true;
        for (std::string word; words >> word; first = false) {
            if (!first && column + 1 + word.size() > kHelpWidth) {
                text += "\n";
                column = 0;
            }
            if (column < kHelpColumn) {
                text += std::string(kHelpColumn - column, ' ');
                column = kHelpColumn;
            } else {
                text += ' ';
                ++column;
            }
            text += word;
            column += word.size();
        }
        text += "\n";
    }
    text += "\nExample:\n"
            "  eval \"$(linkport-sim --print-env --lp2 --compact --wireless --select lp2)\"\n"
            "  linkport-toolkit\n"
            "  kill $LINKPORT_SIM_PID\n";
    return text;
}

bool demoOptionsFor(const std::string& select, DemoOptions& options, std::string& error)
{
    SimCommand command;
    if (parseSimArguments({"--lp2", "--compact", "--wireless", "--select", select}, command, error) != 0)
        return false;
    options = std::move(command.demo);
    // A person's demo: its own addresses rather than a wait for another's.
    options.takeFreeAddresses = true;
    return true;
}

} // namespace lp::sim
