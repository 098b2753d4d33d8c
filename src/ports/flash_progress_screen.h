#pragma once
// What both line-by-line flashes (compact over serial, wireless over TCP) ask
// of the flash screen while they run. Each flash adds its own timer and
// extras on top.
#include <cstdint>
#include <string>

namespace lp {

// Where a transfer stands, counted in records the adapter has acknowledged:
// a record written but not yet answered is not progress. 64-bit throughout,
// since a 1 MiB image is 65,536 records and more.
struct FlashProgress {
    int64_t acknowledged = 0; // records answered with "#" (the driver's flash: 0 until it reports)
    int64_t total = 0;        // records the file sends, its end-of-file record included
    int64_t recordCount = 0;  // the file's record count (header lines included), which sizes the bar

    // The progress bar's maximum is the record count plus 10 and its value
    // the records acknowledged; the answer to the last record fills it.
    static constexpr int64_t kBarHeadroom = 10;
    int32_t barMaximum() const;
    int32_t barValue() const;
    bool complete() const { return total > 0 && acknowledged >= total; }
};

inline int32_t FlashProgress::barMaximum() const
{
    const int64_t maximum = recordCount + kBarHeadroom;
    return static_cast<int32_t>(maximum < 0 ? 0 : maximum > INT32_MAX ? INT32_MAX : maximum);
}

inline int32_t FlashProgress::barValue() const
{
    const int32_t maximum = barMaximum();
    if (complete())
        return maximum;
    return static_cast<int32_t>(acknowledged < 0 ? 0 : acknowledged > maximum ? maximum : acknowledged);
}

class FlashProgressScreen {
public:
    virtual ~FlashProgressScreen() = default;

    // frmDownloadProgress: shown, and painted, before the adapter hears the
    // first byte of the flash, and unloaded at its end, whichever way it
    // ends. A show while it is up changes nothing.
    virtual void showProgressDialog() = 0;
    virtual void unloadProgressDialog() = 0;
    // Once the transfer is prepared (nothing acknowledged yet) and after
    // every acknowledgement.
    virtual void setProgress(const FlashProgress& progress) = 0;

    // The mouse pointer: 0 default, 11 hourglass.
    virtual void setMousePointer(int pointer) = 0;

    // frmExitReturnDialog with this message text, shown modally; a progress
    // dialog still up goes first (a flash may leave it up through the
    // read-back that precedes this).
    virtual void showExitReturnDialog(const std::string& text) = 0;

    // After a failed flash: the screen becomes ready for another file and
    // another attempt (Select File enabled).
    virtual void returnToReadyState() = 0;
};

} // namespace lp
