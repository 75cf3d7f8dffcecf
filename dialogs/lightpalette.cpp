#include "dialogs/lightpalette.h"

#include <QColor>

QPalette lightPalette(const QPalette &desktop)
{
    constexpr int middle = 127;
    if (desktop.color(QPalette::WindowText).lightness() <= middle)
        return desktop;
    QPalette light(QColor(0xef, 0xef, 0xef));
    light.setColor(QPalette::Highlight, desktop.color(QPalette::Highlight));
    light.setColor(QPalette::HighlightedText, desktop.color(QPalette::HighlightedText));
    return light;
}
