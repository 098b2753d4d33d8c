#include "adapters/wireless/wireless_adapter_list.h"

#include <algorithm>
#include <cctype>

#include "core/vb_text.h"
#include "ports/choice_list.h"
#include "adapters/wireless/modWLP.h"
#include "ports/logger.h"
#include "ports/profile_files.h"

namespace lp {

namespace {

// The driver reads each list into a 1024-character buffer; a longer value
// would come back cut and lose adapters.
constexpr size_t kMaxListLength = 1023;
constexpr uint32_t kReadBufferSize = 1024;
constexpr const char* kListSection = "AdditionalDevices";
constexpr const char* kChosenSection = "DeviceInformation1";

std::string paramsFor(const std::string& address) { return address + ":" + std::to_string(kWLPTcpPort); }

bool hasForbiddenCharacter(const std::string& text)
{
    return std::any_of(text.begin(), text.end(), [](char c) {
        const auto u = static_cast<unsigned char>(c);
        return c == ';' || c == '"' || u < 0x20 || u == 0x7F;
    });
}

std::string lowerAscii(std::string text)
{
    for (char& c : text)
        c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    return text;
}

std::vector<std::string> split(const std::string& text, char separator)
{
    std::vector<std::string> parts;
    size_t start = 0;
    while (true) {
        size_t end = text.find(separator, start);
        parts.push_back(text.substr(start, end == std::string::npos ? std::string::npos : end - start));
        if (end == std::string::npos)
            return parts;
        start = end + 1;
    }
}

bool allDigits(const std::string& text)
{
    return !text.empty()
        && std::all_of(text.begin(), text.end(), [](char c) { return std::isdigit(static_cast<unsigned char>(c)); });
}

void logInfo(Context& ctx, LogLevel level, const std::string& text)
{
    if (ctx.ports.log)
        ctx.ports.log->write(LogSubsystem::Info, level, text);
}

WirelessEditResult refused(std::string message) { return {false, std::move(message)}; }

} // namespace

bool IsUnicastIPv4(const std::string& text)
{
    const std::vector<std::string> parts = split(text, '.');
    if (parts.size() != 4)
        return false;
    int values[4] = {};
    for (size_t i = 0; i < 4; ++i) {
        const std::string& p = parts[i];
        if (!allDigits(p) || p.size() > 3 || (p.size() > 1 && p[0] == '0'))
            return false;
        values[i] = std::stoi(p);
        if (values[i] > 255)
            return false;
    }
    // 0.x.x.x is "this network", 224 and up multicast or reserved.
    return values[0] >= 1 && values[0] <= 223;
}

bool IsHostName(const std::string& text)
{
    if (text.empty() || text.size() > 253)
        return false;
    const std::vector<std::string> labels = split(text, '.');
    for (const std::string& label : labels) {
        if (label.empty() || label.size() > 63 || label.front() == '-' || label.back() == '-')
            return false;
        for (char c : label) {
            if (!std::isalnum(static_cast<unsigned char>(c)) && c != '-')
                return false;
        }
    }
    // A last label of digits alone is a mistyped address, not a name.
    return !allDigits(labels.back());
}

std::string WirelessAddressProblem(const std::string& address)
{
    if (address.empty())
        return "Please enter the network address of the wireless adapter.";
    if (IsUnicastIPv4(address) || IsHostName(address))
        return {};
    return "\"" + address
        + "\" is not a valid network address.  Enter an IPv4 address such as 192.168.0.20, or a host name "
          "such as wlp-shop1.";
}

void WirelessAdapterList::load(Context& ctx)
{
    adapters_.clear();
    selected_ = -1;
    changed_ = false;
    edits_.clear();
    loaded_.clear();
    loadedSelection_ = -1;

    std::vector<std::string> names, addresses, serials;
    if (!WLPReadAdditionalDevices(ctx, names, addresses, serials))
        return;

    // The address arrays drop the port; the items are kept whole so that an
    // entry the user leaves alone is written back as it was.
    std::string paramList;
    if (ctx.ports.profiles)
        ctx.ports.profiles->getPrivateProfileString(kListSection, "DeviceParams", "", paramList, kReadBufferSize,
                                                    kWLPIniFile);
    std::vector<std::string> params = split(paramList, ';');

    for (size_t i = 0; i < names.size(); ++i) {
        WirelessAdapterEntry e;
        e.name = names[i];
        e.address = i < addresses.size() ? addresses[i] : std::string{};
        e.serial = i < serials.size() ? serials[i] : std::string{};
        // split() leaves the text after the last ";" as a final part, which
        // is no item.
        e.params = i + 1 < params.size() ? params[i] : std::string{};
        adapters_.push_back(std::move(e));
    }

    std::string chosen;
    if (ctx.ports.profiles)
        ctx.ports.profiles->getPrivateProfileString(kChosenSection, "DeviceName", "", chosen, kReadBufferSize,
                                                    kWLPIniFile);
    chosen = vb::Trim(chosen);
    selected_ = 0;
    for (size_t i = 0; i < adapters_.size(); ++i) {
        if (adapters_[i].name == chosen) {
            selected_ = static_cast<int>(i);
            break;
        }
    }
    loaded_ = adapters_;
    loadedSelection_ = selected_;
}

bool WirelessAdapterList::select(int index)
{
    if (index < 0 || index >= size())
        return false;
    selected_ = index;
    edits_.push_back({Edit::Kind::Select, adapters_[static_cast<size_t>(index)].name, {}});
    return true;
}

WirelessEditResult WirelessAdapterList::check(int index, std::string& name, std::string& address,
                                              std::string& serial) const
{
    name = vb::Trim(name);
    address = vb::Trim(address);
    serial = vb::Trim(serial);

    if (name.empty())
        return refused("Please enter a name for the wireless adapter.");
    if (hasForbiddenCharacter(name))
        return refused("A wireless adapter name cannot contain \";\", quotation marks or control characters.");
    const std::string key = lowerAscii(name);
    for (int i = 0; i < size(); ++i) {
        if (i != index && lowerAscii(adapters_[static_cast<size_t>(i)].name) == key)
            return refused("A wireless adapter named \"" + adapters_[static_cast<size_t>(i)].name
                           + "\" is already in the list.  Please choose another name.");
    }
    if (std::string problem = WirelessAddressProblem(address); !problem.empty())
        return refused(problem);
    if (hasForbiddenCharacter(serial))
        return refused("A serial number cannot contain \";\", quotation marks or control characters.");

    // Would every list still be read back whole?
    WirelessAdapterList trial = *this;
    WirelessAdapterEntry entry{name, address, serial, paramsFor(address)};
    if (index < 0)
        trial.adapters_.push_back(entry);
    else
        trial.adapters_[static_cast<size_t>(index)] = entry;
    if (trial.namesValue().size() > kMaxListLength || trial.paramsValue().size() > kMaxListLength
        || trial.serialsValue().size() > kMaxListLength)
        return refused("The list of wireless adapters is full.  Remove an adapter or shorten the names before "
                       "adding another.");
    return {};
}

WirelessEditResult WirelessAdapterList::add(const std::string& name, const std::string& address,
                                            const std::string& serial)
{
    std::string n = name, a = address, s = serial;
    WirelessEditResult result = check(-1, n, a, s);
    if (!result)
        return result;
    adapters_.push_back({n, a, s, paramsFor(a)});
    selected_ = size() - 1;
    changed_ = true;
    edits_.push_back({Edit::Kind::Add, n, adapters_.back()});
    return result;
}

WirelessEditResult WirelessAdapterList::edit(int index, const std::string& name, const std::string& address,
                                             const std::string& serial)
{
    if (index < 0 || index >= size())
        return refused("Please choose the wireless adapter to change.");
    std::string n = name, a = address, s = serial;
    WirelessEditResult result = check(index, n, a, s);
    if (!result)
        return result;
    WirelessAdapterEntry& e = adapters_[static_cast<size_t>(index)];
    if (e.name != n || e.address != a || e.serial != s || e.params != paramsFor(a)) {
        edits_.push_back({Edit::Kind::Change, e.name, {n, a, s, paramsFor(a)}});
        e = {n, a, s, paramsFor(a)};
        changed_ = true;
    }
    return result;
}

bool WirelessAdapterList::remove(int index)
{
    if (index < 0 || index >= size())
        return false;
    edits_.push_back({Edit::Kind::Remove, adapters_[static_cast<size_t>(index)].name, {}});
    adapters_.erase(adapters_.begin() + index);
    changed_ = true;
    if (adapters_.empty())
        selected_ = -1;
    else if (selected_ > index || selected_ >= size())
        selected_ = std::max(0, selected_ - 1);
    return true;
}

std::string WirelessAdapterList::namesValue() const
{
    std::string v;
    for (const auto& e : adapters_)
        v += e.name + ";";
    return v;
}

std::string WirelessAdapterList::paramsValue() const
{
    std::string v;
    for (const auto& e : adapters_)
        v += e.params + ";";
    return v;
}

std::string WirelessAdapterList::serialsValue() const
{
    std::string v;
    for (const auto& e : adapters_)
        v += e.serial + ";";
    return v;
}

bool WirelessAdapterList::replay(WirelessAdapterList& fresh) const
{
    auto indexOf = [&fresh](const std::string& name) {
        for (int i = 0; i < fresh.size(); ++i) {
            if (fresh.adapters_[static_cast<size_t>(i)].name == name)
                return i;
        }
        return -1;
    };
    for (const Edit& e : edits_) {
        const int at = indexOf(e.name);
        WirelessEditResult r;
        switch (e.kind) {
        case Edit::Kind::Add:
            r = fresh.add(e.entry.name, e.entry.address, e.entry.serial);
            break;
        case Edit::Kind::Change:
            r = fresh.edit(at, e.entry.name, e.entry.address, e.entry.serial);
            break;
        case Edit::Kind::Remove:
            r.accepted = at < 0 || fresh.remove(at); // gone already: nothing to do
            break;
        case Edit::Kind::Select:
            r.accepted = fresh.select(at);
            break;
        }
        if (!r) {
            fresh.lastError_ = "Another program changed the wireless adapter list meanwhile, and \"" + e.name
                               + "\" no longer fits it" + (r.message.empty() ? std::string() : ": " + r.message);
            return false;
        }
    }
    return true;
}

bool WirelessAdapterList::apply(Context& ctx)
{
    lastError_.clear();
    if (!ctx.ports.profiles)
        return false;
    ProfileChange change(ctx.ports.profiles, {kWLPIniFile});
    if (!change.begun()) {
        lastError_ = ctx.ports.profiles->lastError();
        logInfo(ctx, LogLevel::Warning, "the wireless adapter list is not written: " + lastError_);
        return false;
    }
    // Read again under the lock: what another program wrote since load()
    // stays, and our edits are made on top of it.
    WirelessAdapterList fresh;
    fresh.load(ctx);
    const bool sameAsLoaded = fresh.adapters_.size() == loaded_.size()
                              && std::equal(loaded_.begin(), loaded_.end(), fresh.adapters_.begin(),
                                            [](const WirelessAdapterEntry& a, const WirelessAdapterEntry& b) {
                                                return a.name == b.name && a.address == b.address
                                                       && a.serial == b.serial && a.params == b.params;
                                            });
    if (!sameAsLoaded) {
        if (!replay(fresh)) {
            lastError_ = fresh.lastError_;
            logInfo(ctx, LogLevel::Warning, lastError_);
            return false;
        }
        logInfo(ctx, LogLevel::Info, "the wireless adapter list changed since it was read; edits made again on it");
        adapters_ = fresh.adapters_;
        selected_ = fresh.selected_;
        changed_ = fresh.changed_;
    }
    const bool ok = write(ctx) && change.commit();
    if (!ok)
        lastError_ = ctx.ports.profiles->lastError();
    logInfo(ctx, ok ? LogLevel::Info : LogLevel::Warning,
            std::string(ok ? "wrote" : "could not write") + " the wireless adapter list (" + std::to_string(size())
                + " adapters) into " + kWLPIniFile + (ok ? std::string() : ": " + lastError_));
    if (ok) {
        changed_ = false;
        edits_.clear();
        loaded_ = adapters_;
        loadedSelection_ = selected_;
    }
    return ok;
}

bool WirelessAdapterList::write(Context& ctx)
{
    ProfileFiles& ini = *ctx.ports.profiles;
    bool ok = true;
    if (changed_) {
        ok = ini.writePrivateProfileString(kListSection, "DeviceNames", namesValue(), kWLPIniFile) && ok;
        ok = ini.writePrivateProfileString(kListSection, "DeviceParams", paramsValue(), kWLPIniFile) && ok;
        ok = ini.writePrivateProfileString(kListSection, "SerialNumbers", serialsValue(), kWLPIniFile) && ok;
    }

    ctx.g_astrWLPNames.clear();
    ctx.g_astrWLPAddresses.clear();
    ctx.g_astrWLPSerials.clear();
    ChoiceItems list;
    for (const auto& e : adapters_) {
        ctx.g_astrWLPNames.push_back(e.name);
        ctx.g_astrWLPAddresses.push_back(e.address);
        ctx.g_astrWLPSerials.push_back(e.serial);
        list.addItem(e.name + " (" + e.address + ")");
    }
    if (ok && selected_ >= 0 && selected_ < size()) {
        // An adapter without a usable address (a hand-edited list) is not
        // made the one the driver connects to: ":12321" leads nowhere.
        const WirelessAdapterEntry& chosen = adapters_[static_cast<size_t>(selected_)];
        if (!WirelessAddressProblem(chosen.address).empty()) {
            logInfo(ctx, LogLevel::Warning,
                    "\"" + chosen.name + "\" has no usable address; the chosen adapter stays as it was");
        } else {
            list.selected = selected_;
            WLPSelectAdapter(ctx, list);
        }
    }
    return ok;
}

} // namespace lp
