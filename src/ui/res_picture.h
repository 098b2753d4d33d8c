#pragma once
// The numbered pictures: the window icon and the toolbar bitmaps, drawn by
// the program itself so that they scale to any screen.
#include <QIcon>
#include <QImage>

#include <cstdint>

namespace lp {

// The numbered pictures: the program's icon, and the toolbar's bitmaps.
namespace ResPictureId {
inline constexpr int16_t AppIcon = 101;
inline constexpr int16_t SummaryBitmap = 101;
inline constexpr int16_t ExitBitmap = 102;
inline constexpr int16_t FlashBitmap = 103;
} // namespace ResPictureId

// The picture kinds a resource picture can be.
enum class ResPictureKind { Bitmap = 0, Icon = 1, Cursor = 2 };

// Icon 101: the adapter emblem (window icon, dialog picture).
// Bitmap 101: summary list; 102: exit door; 103: flash into the adapter.
// Anything else gives a null image. `size` is the edge in pixels.
QImage LoadResPicture(int16_t id, ResPictureKind kind, int size = 32);

// The picture at the usual icon sizes, for windows and buttons.
QIcon resIcon(int16_t id, ResPictureKind kind);

} // namespace lp
