#pragma once
// What both line-by-line flashes (compact over serial, wireless over TCP) ask
// of the flash screen while they run. Each flash adds its own timer and
// extras on top.
#include <cstdint>
#include <string>

namespace lp {

class FlashProgressScreen {
public:
    virtual ~FlashProgressScreen() = default;

    // frmDownloadProgress: shown once the transfer is prepared, unloaded at
    // every end.
    virtual void showProgressDialog() = 0;
    virtual void unloadProgressDialog() = 0;
    virtual void setProgressMaximum(int32_t maximum) = 0;
    virtual void setProgressValue(int32_t value) = 0;

    // The mouse pointer: 0 default, 11 hourglass.
    virtual void setMousePointer(int pointer) = 0;

    // frmExitReturnDialog with this message text, shown modally.
    virtual void showExitReturnDialog(const std::string& text) = 0;

    // After a failed flash: the screen becomes ready for another file and
    // another attempt (Select File enabled).
    virtual void returnToReadyState() = 0;
};

} // namespace lp
