#include "tests/support/pictures.h"

#include <QBuffer>

#include <cmath>

namespace
{

constexpr int tolerance = 6;
constexpr int fewPixels = 12;

bool isNear(QRgb pixel, QRgb colour)
{
    return std::abs(qRed(pixel) - qRed(colour)) <= tolerance &&
           std::abs(qGreen(pixel) - qGreen(colour)) <= tolerance &&
           std::abs(qBlue(pixel) - qBlue(colour)) <= tolerance;
}

qint64 countOf(const QColor &colour, const QImage &picture)
{
    qint64 count = 0;
    for (int y = 0; y < picture.height(); ++y) {
        for (int x = 0; x < picture.width(); ++x)
            count += isNear(picture.pixel(x, y), colour.rgb()) ? 1 : 0;
    }
    return count;
}

} // namespace

QByteArray plainPicture(const QColor &colour, QSize size, const char *format)
{
    QImage image(size, QImage::Format_RGB32);
    image.fill(colour);
    QByteArray bytes;
    QBuffer buffer(&bytes);
    buffer.open(QIODevice::WriteOnly);
    image.save(&buffer, format, 100);
    return bytes;
}

QString dataAddress(const QColor &colour)
{
    return QStringLiteral("data:image/png;base64,") + QString::fromLatin1(plainPicture(colour).toBase64());
}

double shareOf(const QColor &colour, const QImage &picture)
{
    return static_cast<double>(countOf(colour, picture)) /
           static_cast<double>(qint64(picture.width()) * picture.height());
}

bool shows(const QColor &colour, const QImage &picture)
{
    return countOf(colour, picture) > fewPixels;
}

QColor distinctColour(int number)
{
    const auto step = [](int n) { return 30 + 65 * (n & 3); };
    // The four greys among the 64 could be the edge of a letter.
    const int code = number + 1 + number / 20;
    return {step(code), step(code >> 2), step(code >> 4)};
}
