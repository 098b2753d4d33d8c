#include "models/loader_records.h"

namespace lp::sim {

namespace {

constexpr uint8_t kMark = ':';
constexpr size_t kOverhead = 5; // count, address (2), type, check

} // namespace

bool loaderTakesRecord(const Bytes& body, bool endRecordSeen)
{
    if (endRecordSeen || body.size() < kOverhead || body.size() != body[0] + kOverhead)
        return false;
    uint8_t sum = 0;
    for (uint8_t b : body)
        sum = static_cast<uint8_t>(sum + b);
    if (sum != 0)
        return false;
    const unsigned count = body[0];
    const unsigned address = unsigned(body[1]) << 8 | body[2];
    switch (body[3]) {
    case 0x00:
        return true;
    case 0x01:
        return count == 0 && address == 0;
    case 0x02:
    case 0x04:
        return count == 2 && address == 0;
    case 0x03:
    case 0x05:
        return count == 4 && address == 0;
    default:
        return false;
    }
}

LoaderStreamVerdict loaderTakesStream(const Bytes& stream)
{
    LoaderStreamVerdict v;
    int64_t k = 0;
    size_t pos = 0;
    while (pos < stream.size()) {
        if (stream[pos] != kMark) {
            ++pos;
            continue;
        }
        if (pos + 1 >= stream.size() || pos + 1 + kOverhead + stream[pos + 1] > stream.size()) {
            v.unfinished = true;
            break;
        }
        const size_t length = kOverhead + stream[pos + 1];
        const Bytes body(stream.begin() + static_cast<std::ptrdiff_t>(pos + 1),
                         stream.begin() + static_cast<std::ptrdiff_t>(pos + 1 + length));
        pos += 1 + length;
        ++k;
        if (!loaderTakesRecord(body, v.endRecordSeen)) {
            if (v.refusedRecord == 0)
                v.refusedRecord = k;
            continue;
        }
        ++v.taken;
        if (body[3] == 0x00)
            ++v.dataRecords;
        if (body[3] == 0x01)
            v.endRecordSeen = true;
    }
    return v;
}

} // namespace lp::sim
