// A registry file and one value set in it: the value reads back, from the
// document and from its text read again; another value reads as before; and
// a document read from its own text writes the same text.
#include <fuzzer/FuzzedDataProvider.h>

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>

#include "fuzz_check.h"
#include "platform/reg_document.h"
#include "ports/registry_store.h"

using namespace lp;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    FuzzedDataProvider in(data, size);
    const std::string rawPath = in.ConsumeRandomLengthString(60);
    const std::string name = in.ConsumeRandomLengthString(30);
    const std::string otherPath = in.ConsumeRandomLengthString(60);
    const std::string otherName = in.ConsumeRandomLengthString(30);
    static constexpr uint32_t kTypes[] = {REG_NONE, REG_SZ, REG_EXPAND_SZ, REG_BINARY, REG_DWORD, REG_MULTI_SZ, REG_QWORD};
    RegData value;
    value.type = in.PickValueInArray(kTypes);
    value.bytes = in.ConsumeRandomLengthString(80);
    const std::string file = in.ConsumeRemainingBytesAsString();

    RegDocument doc = RegDocument::parse(file);
    const std::string text = doc.text();
    FUZZ_CHECK(RegDocument::parse(text).text() == text);

    std::optional<RegData> otherBefore;
    if (const RegData* found = doc.findValue(otherPath, otherName))
        otherBefore = *found;

    const std::optional<std::string> path = normalizeRegKeyPath(rawPath);
    if (!path || !isStorableRegValueName(name))
        return 0;
    doc.setValue(*path, name, value);
    FUZZ_CHECK(doc.keyExists(*path));
    const RegData* set = doc.findValue(*path, name);
    FUZZ_CHECK(set && *set == value);

    const std::string written = doc.text();
    RegDocument again = RegDocument::parse(written);
    const RegData* reread = again.findValue(*path, name);
    FUZZ_CHECK(reread && *reread == value);
    FUZZ_CHECK(again.text() == written);

    // The other value, unless it is the one set (names and paths compare
    // without regard to ASCII case, so ask the document itself).
    const RegData* otherAfter = again.findValue(otherPath, otherName);
    const bool same = doc.findValue(otherPath, otherName) == set;
    if (!same) {
        FUZZ_CHECK(static_cast<bool>(otherAfter) == otherBefore.has_value());
        if (otherAfter)
            FUZZ_CHECK(*otherAfter == *otherBefore);
    }
    return 0;
}
