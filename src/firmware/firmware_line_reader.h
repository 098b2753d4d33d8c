#pragma once
// Reads a firmware file line by line in bounded memory, whatever the file
// holds: a fixed read buffer plus at most maxLineLength characters of the
// current line. A longer line is not buffered: the reader keeps its first
// maxLineLength characters, skips the rest up to the line end and says so,
// and the caller decides what that means (for a record line: corrupt).
//
// Line ends are CR LF, LF or a lone CR; the last line needs no line end, and
// a line end at the very end of the file does not start another line. The
// bytes are passed on untouched (8-bit text, no code-page conversion).
//
// The same reader runs over text in memory, so the file procedures can be
// driven without a file (tests, fuzzing).
#include <cstdint>
#include <cstdio>
#include <string>
#include <string_view>
#include <vector>

#include "firmware/firmware_record.h"

namespace lp {

class FirmwareLineReader {
public:
    enum class Status {
        Line,      // a whole line is in `line`
        TooLong,   // the line was longer than maxLineLength; `line` holds its start
        End,       // no further line; `line` is empty
        ReadError, // the file could not be read any further; `line` is empty
    };

    explicit FirmwareLineReader(size_t maxLineLength = kMaxRecordLineLength);
    ~FirmwareLineReader();
    FirmwareLineReader(const FirmwareLineReader&) = delete;
    FirmwareLineReader& operator=(const FirmwareLineReader&) = delete;

    // Opens a file (the path is UTF-8), closing whatever was open. False
    // when it cannot be opened for reading.
    bool open(const std::string& path);
    // Reads from `text`, which must outlive the reading.
    void openText(std::string_view text);
    void close();
    bool isOpen() const { return open_; }

    Status readLine(std::string& line);

    // True when no further line can be read (an EOF test). A read
    // error is not an end: the next readLine reports it.
    bool atEnd();

    // Lines read so far; the line just read has this number (1-based).
    int64_t lineNumber() const { return lineNumber_; }
    size_t maxLineLength() const { return maxLineLength_; }

private:
    // Makes at least one unread byte available; false at the end or on error.
    bool ensureData();

    size_t maxLineLength_;
    std::FILE* file_ = nullptr;
    std::vector<char> buffer_;
    const char* data_ = nullptr;
    size_t pos_ = 0;
    size_t len_ = 0;
    bool open_ = false;
    bool exhausted_ = false;
    bool error_ = false;
    int64_t lineNumber_ = 0;
};

} // namespace lp
