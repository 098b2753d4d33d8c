#include "ui/res_picture.h"

#include <QLinearGradient>
#include <QPainter>
#include <QPainterPath>
#include <QPixmap>

namespace lp {

namespace {

// Every picture is drawn on a 32 x 32 grid and scaled to the wanted size.
using DrawFn = void (*)(QPainter&);

const QColor kInk(0x22, 0x2b, 0x38);
const QColor kBody(0x1f, 0x5f, 0xa8);
const QColor kBodyLight(0x4f, 0x93, 0xd8);
const QColor kAmber(0xf2, 0xa9, 0x1e);
const QColor kGreen(0x2e, 0x9d, 0x4f);
const QColor kRed(0xc8, 0x32, 0x2b);

// A datalink adapter: a housing with a status lamp, a cable and a D-sub
// plug with its pins, the shape a technician plugs into a vehicle.
void drawAdapter(QPainter& p)
{
    // Cable from the housing to the plug.
    p.setPen(QPen(kInk, 2.2, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin));
    QPainterPath cable;
    cable.moveTo(16, 18);
    cable.cubicTo(16, 24, 24, 20, 24, 25);
    p.setBrush(Qt::NoBrush);
    p.drawPath(cable);

    // Housing.
    QLinearGradient g(0, 3, 0, 19);
    g.setColorAt(0, kBodyLight);
    g.setColorAt(1, kBody);
    p.setPen(QPen(kInk, 1.2));
    p.setBrush(g);
    p.drawRoundedRect(QRectF(4, 3, 24, 15), 3, 3);
    // Label strip and lamp.
    p.setPen(Qt::NoPen);
    p.setBrush(QColor(255, 255, 255, 200));
    p.drawRoundedRect(QRectF(7, 6, 12, 3), 1, 1);
    p.drawRoundedRect(QRectF(7, 11, 8, 2), 1, 1);
    p.setBrush(kGreen);
    p.drawEllipse(QPointF(23.5, 8), 2, 2);

    // D-sub plug: a trapezoid shell with two rows of pins.
    QPolygonF shell;
    shell << QPointF(15, 24) << QPointF(31, 24) << QPointF(29, 31) << QPointF(17, 31);
    p.setPen(QPen(kInk, 1.2, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin));
    p.setBrush(QColor(0xb8, 0xc0, 0xc8));
    p.drawPolygon(shell);
    p.setPen(Qt::NoPen);
    p.setBrush(kInk);
    for (int i = 0; i < 5; ++i)
        p.drawEllipse(QPointF(17.8 + i * 2.6, 26.4), 0.8, 0.8);
    for (int i = 0; i < 4; ++i)
        p.drawEllipse(QPointF(19.1 + i * 2.6, 28.9), 0.8, 0.8);
}

// Summary: a sheet with a list of items, each with a bullet.
void drawSummary(QPainter& p)
{
    p.setPen(QPen(kInk, 1.2));
    p.setBrush(Qt::white);
    QPolygonF sheet;
    sheet << QPointF(6, 2) << QPointF(21, 2) << QPointF(27, 8) << QPointF(27, 30) << QPointF(6, 30);
    p.drawPolygon(sheet);
    p.setBrush(QColor(0xdd, 0xe3, 0xea));
    QPolygonF fold;
    fold << QPointF(21, 2) << QPointF(21, 8) << QPointF(27, 8);
    p.drawPolygon(fold);

    for (int row = 0; row < 5; ++row) {
        double y = 11 + row * 4;
        p.setPen(Qt::NoPen);
        p.setBrush(row == 0 ? kBody : kBodyLight);
        p.drawRect(QRectF(9, y - 1, 2.4, 2.4));
        p.setPen(QPen(row == 0 ? kInk : QColor(0x6b, 0x75, 0x80), 1.4, Qt::SolidLine, Qt::RoundCap));
        p.drawLine(QPointF(13.5, y + 0.2), QPointF(row % 2 ? 21.5 : 24, y + 0.2));
    }
}

// Exit: an open door with an arrow leaving through it.
void drawExit(QPainter& p)
{
    p.setPen(QPen(kInk, 1.2));
    p.setBrush(QColor(0x8a, 0x5a, 0x32));
    p.drawRect(QRectF(4, 3, 14, 26)); // frame
    QPolygonF door;
    door << QPointF(4, 3) << QPointF(12, 6) << QPointF(12, 31) << QPointF(4, 29);
    p.setBrush(QColor(0xc2, 0x8a, 0x52));
    p.drawPolygon(door);
    p.setBrush(kInk);
    p.drawEllipse(QPointF(10.2, 18), 0.9, 0.9);

    p.setPen(QPen(kRed, 3, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin));
    p.drawLine(QPointF(15, 16), QPointF(27, 16));
    p.setBrush(kRed);
    p.setPen(QPen(kRed, 1.5, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin));
    QPolygonF head;
    head << QPointF(30, 16) << QPointF(24, 11) << QPointF(24, 21);
    p.drawPolygon(head);
}

// Flash: an arrow carrying firmware down into a chip.
void drawFlash(QPainter& p)
{
    // Chip with legs.
    p.setPen(QPen(kInk, 1.4, Qt::SolidLine, Qt::FlatCap));
    for (int i = 0; i < 4; ++i) {
        double x = 9.5 + i * 4.3;
        p.drawLine(QPointF(x, 17), QPointF(x, 15));
        p.drawLine(QPointF(x, 29), QPointF(x, 31));
    }
    p.setPen(QPen(kInk, 1.2));
    p.setBrush(QColor(0x3a, 0x40, 0x48));
    p.drawRoundedRect(QRectF(6, 17, 20, 12), 1.5, 1.5);
    p.setPen(Qt::NoPen);
    p.setBrush(QColor(255, 255, 255, 150));
    p.drawEllipse(QPointF(9, 20), 1, 1);

    // Lightning-shaped arrow above the chip.
    QPolygonF bolt;
    bolt << QPointF(19, 1) << QPointF(11, 10) << QPointF(16, 10) << QPointF(13, 19) << QPointF(23, 7)
         << QPointF(17.5, 7) << QPointF(21, 1);
    p.setPen(QPen(kInk, 1.1, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin));
    p.setBrush(kAmber);
    p.drawPolygon(bolt);
}

DrawFn drawingFor(int16_t id, ResPictureKind kind)
{
    if (kind == ResPictureKind::Icon)
        return id == 101 ? drawAdapter : nullptr;
    if (kind == ResPictureKind::Bitmap) {
        switch (id) {
        case 101: return drawSummary;
        case 102: return drawExit;
        case 103: return drawFlash;
        default: return nullptr;
        }
    }
    return nullptr;
}

} // namespace

QImage LoadResPicture(int16_t id, ResPictureKind kind, int size)
{
    DrawFn draw = drawingFor(id, kind);
    if (!draw || size <= 0 || size > 1024)
        return QImage();
    QImage image(size, size, QImage::Format_ARGB32_Premultiplied);
    image.fill(Qt::transparent);
    QPainter p(&image);
    p.setRenderHint(QPainter::Antialiasing);
    p.scale(size / 32.0, size / 32.0);
    draw(p);
    p.end();
    return image;
}

QIcon resIcon(int16_t id, ResPictureKind kind)
{
    QIcon icon;
    for (int size : {16, 24, 32, 48, 64, 128}) {
        QImage image = LoadResPicture(id, kind, size);
        if (image.isNull())
            return QIcon();
        icon.addPixmap(QPixmap::fromImage(image));
    }
    return icon;
}

} // namespace lp
