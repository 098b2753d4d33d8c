#include "firmware/firmware_line_reader.h"

#ifdef _WIN32
#include <windows.h>
#endif

namespace lp {

namespace {

constexpr size_t kReadChunk = 64 * 1024;

std::FILE* openForReading(const std::string& path)
{
#ifdef _WIN32
    int wideLength = MultiByteToWideChar(CP_UTF8, 0, path.c_str(), -1, nullptr, 0);
    if (wideLength <= 0)
        return nullptr;
    std::wstring wide(static_cast<size_t>(wideLength), L'\0');
    MultiByteToWideChar(CP_UTF8, 0, path.c_str(), -1, wide.data(), wideLength);
    return _wfopen(wide.c_str(), L"rb");
#else
    return std::fopen(path.c_str(), "rb");
#endif
}

} // namespace

FirmwareLineReader::FirmwareLineReader(size_t maxLineLength) : maxLineLength_(maxLineLength) {}

FirmwareLineReader::~FirmwareLineReader() { close(); }

bool FirmwareLineReader::open(const std::string& path)
{
    close();
    file_ = openForReading(path);
    if (!file_)
        return false;
    buffer_.resize(kReadChunk);
    data_ = buffer_.data();
    open_ = true;
    return true;
}

void FirmwareLineReader::openText(std::string_view text)
{
    close();
    data_ = text.data();
    len_ = text.size();
    exhausted_ = true; // nothing to fetch beyond the text itself
    open_ = true;
}

void FirmwareLineReader::close()
{
    if (file_)
        std::fclose(file_);
    file_ = nullptr;
    buffer_.clear();
    buffer_.shrink_to_fit();
    data_ = nullptr;
    pos_ = len_ = 0;
    open_ = exhausted_ = error_ = false;
    lineNumber_ = 0;
}

bool FirmwareLineReader::ensureData()
{
    if (pos_ < len_)
        return true;
    if (!open_ || exhausted_ || error_ || !file_)
        return false;
    size_t got = std::fread(buffer_.data(), 1, buffer_.size(), file_);
    pos_ = 0;
    len_ = got;
    if (got == 0) {
        if (std::ferror(file_))
            error_ = true;
        else
            exhausted_ = true;
        return false;
    }
    return true;
}

FirmwareLineReader::Status FirmwareLineReader::readLine(std::string& line)
{
    line.clear();
    if (!ensureData())
        return error_ ? Status::ReadError : Status::End;
    bool tooLong = false;
    for (;;) {
        if (!ensureData()) {
            if (error_) {
                line.clear();
                return Status::ReadError;
            }
            break; // the last line, without a line end
        }
        const char* start = data_ + pos_;
        const char* end = data_ + len_;
        const char* p = start;
        while (p < end && *p != '\r' && *p != '\n')
            ++p;
        size_t piece = static_cast<size_t>(p - start);
        size_t room = maxLineLength_ - line.size();
        if (piece > room) {
            tooLong = true;
            piece = room;
        }
        line.append(start, piece);
        pos_ = static_cast<size_t>(p - data_);
        if (p == end)
            continue;
        ++pos_;
        if (*p == '\r' && ensureData() && data_[pos_] == '\n')
            ++pos_;
        break;
    }
    ++lineNumber_;
    return tooLong ? Status::TooLong : Status::Line;
}

bool FirmwareLineReader::atEnd() { return !ensureData() && !error_; }

} // namespace lp
