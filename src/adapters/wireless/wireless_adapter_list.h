#pragma once
// The wireless adapters as the user edits them: the lists of
// [AdditionalDevices] in LPIPRP32.INI (every adapter the user knows, the
// chosen one included) and the choice, which goes to [DeviceInformation1]
// through WLPSelectAdapter. Edits stay in memory until apply(), so leaving
// the picker without Select changes nothing on disk. No Qt: the command line
// edits the list with the same rules.
//
// What an entry may hold (the INI lists leave no room for more):
//  - name: not empty, unique (ignoring case: "Shop 1" and "SHOP 1" would be
//    told apart by nobody), without ";" (the item end), quotation marks
//    (the INI reader strips them from a value) or control characters;
//    leading and trailing blanks are dropped, as the driver drops them when
//    it reads the chosen name back;
//  - address: a unicast IPv4 address in dotted decimal (first part 1-223,
//    no leading zeros, which some resolvers read as octal), or a host name
//    (letters, digits and "-" in dot-separated labels of 1-63 characters,
//    253 characters at most, the last label not all digits). No IPv6: ":"
//    separates the address from the port in the driver's list. Judged from
//    the text alone; nothing is looked up on the network;
//  - serial number: may be empty; same characters as a name.
// Each of the three lists must fit the 1024-character buffer it is read
// back into.
#include <string>
#include <vector>

#include "core/context.h"

namespace lp {

struct WirelessAdapterEntry {
    std::string name;
    std::string address;
    std::string serial;
    // The "DeviceParams" item as it stands in the file ("10.0.0.5:12321");
    // rewritten as address ":12321" when the entry is added or edited.
    std::string params;
};

// Why an edit was refused; the text is the message the user sees.
struct WirelessEditResult {
    bool accepted = true;
    std::string message;
    explicit operator bool() const { return accepted; }
};

// "" when the text is an address the picker accepts, else the reason.
std::string WirelessAddressProblem(const std::string& address);
bool IsUnicastIPv4(const std::string& text);
bool IsHostName(const std::string& text);

class WirelessAdapterList {
public:
    // Reads the lists and the chosen adapter from LPIPRP32.INI. The choice
    // is the first adapter whose name is the trimmed "DeviceName" of
    // [DeviceInformation1], else the first one (-1 for an empty list).
    // Entries are taken as they stand, odd ones included.
    void load(Context& ctx);

    const std::vector<WirelessAdapterEntry>& adapters() const { return adapters_; }
    int size() const { return static_cast<int>(adapters_.size()); }

    // The chosen adapter's index, -1 when none.
    int selected() const { return selected_; }
    // False (nothing changes) for an index outside the list.
    bool select(int index);

    // Adds at the end and chooses the new adapter.
    WirelessEditResult add(const std::string& name, const std::string& address, const std::string& serial);
    WirelessEditResult edit(int index, const std::string& name, const std::string& address,
                            const std::string& serial);
    // The choice moves to the adapter that takes the removed one's place
    // (the one before it at the end of the list).
    bool remove(int index);

    // True once the lists differ from what load() read.
    bool changed() const { return changed_; }

    // Writes the lists into [AdditionalDevices] when they changed, fills the
    // program's adapter arrays from them and writes the chosen adapter into
    // [DeviceInformation1], all as one change of the file: whoever reads it,
    // even after a kill, sees the old lists and choice or the new ones.
    // Another program's change made since load() is kept: the file is read
    // again under its lock and this list's edits are made over again on it.
    // Nothing else in the file is touched. An adapter without an address is
    // never written as the chosen one. False when the file could not be
    // written or the edits no longer fit it (lastError() says why; logged);
    // the file then stays as it was.
    bool apply(Context& ctx);
    const std::string& lastError() const { return lastError_; }

    // The three values of [AdditionalDevices] for the current entries.
    std::string namesValue() const;
    std::string paramsValue() const;
    std::string serialsValue() const;

private:
    // An edit as made, so that apply() can make it again on a list that
    // another program changed meanwhile. Adapters are known by name.
    struct Edit {
        enum class Kind { Add, Change, Remove, Select } kind;
        std::string name; // the adapter's name before the edit
        WirelessAdapterEntry entry;
    };
    // Makes the edits again on `fresh`; false with the reason when one no
    // longer fits.
    bool replay(WirelessAdapterList& fresh) const;
    bool write(Context& ctx);

    WirelessEditResult check(int index, std::string& name, std::string& address, std::string& serial) const;

    std::vector<WirelessAdapterEntry> adapters_;
    int selected_ = -1;
    bool changed_ = false;
    std::vector<WirelessAdapterEntry> loaded_; // as load() read them
    int loadedSelection_ = -1;
    std::vector<Edit> edits_;
    std::string lastError_;
};

} // namespace lp
