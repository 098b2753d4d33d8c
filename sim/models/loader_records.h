#pragma once
// What the compact and the wireless loaders take of the records that follow
// "####" (our design of the adapters' side). A record arrives as ":" and its
// bytes - count, address high, address low, type, data, check byte - and the
// loader frames it by its count byte alone: it cannot see the line the
// record came from. It writes a record only when
//   - its bytes add up to zero modulo 256,
//   - its type is one it knows, in the shape the Intel HEX layout gives it:
//     00 data (written from base + address on, straight across the end of
//     a 64 KiB block, as file tools mean such a record), 01 end of file (no
//     data, address 0000), 02 and 04 base address (two bytes at 0000), 03
//     and 05 start address (four bytes at 0000),
//   - and the end-of-file record has not come yet.
// Anything else is refused. Both models apply this to every record; tests
// hand a whole file's bytes to loaderTakesStream to see what a loader would
// make of a file that no check stood in front of.
#include <cstdint>

#include "ports/serial_port.h"

namespace lp::sim {

// `body` is the record after its mark.
bool loaderTakesRecord(const Bytes& body, bool endRecordSeen);

struct LoaderStreamVerdict {
    int64_t taken = 0;        // records written
    int64_t dataRecords = 0;  // of which data
    int64_t refusedRecord = 0; // the first record refused, 1-based; 0 when none
    bool endRecordSeen = false;
    bool unfinished = false;  // the stream ends inside a record
    // The loader acknowledged every record and holds a whole image.
    bool complete() const { return refusedRecord == 0 && !unfinished && endRecordSeen; }
};

// The bytes the flash sends after "####", all at once: framed as the loaders
// frame them (bytes outside a record are passed over), each record judged.
LoaderStreamVerdict loaderTakesStream(const Bytes& stream);

} // namespace lp::sim
