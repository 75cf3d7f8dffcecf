#include "ui/fittext.h"

#include <QCheckBox>
#include <QComboBox>
#include <QCoreApplication>
#include <QEvent>
#include <QFont>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>

namespace
{

constexpr double minimumFont = 5; // points
constexpr double step = 0.5;
constexpr int frame = 1; // pixels

QSize contentSize(const QPushButton &button)
{
    constexpr int gap = 4;
    constexpr int margin = 3;
    const int icon = button.icon().isNull() ? 0 : button.iconSize().width() + gap;
    const QSize text = button.fontMetrics().size(Qt::TextShowMnemonic, button.text());
    return {icon + text.width() + 2 * margin, text.height()};
}

bool isWithin(QSize needed, QSize available)
{
    return needed.boundedTo(available) == needed;
}

void setFont(QWidget &control, const QFont &font)
{
    control.setFont(font);
    // A combo box caches its size hint until its style changes.
    const auto lists = control.findChildren<QComboBox *>();
    for (QComboBox *list : lists) {
        QEvent change(QEvent::StyleChange);
        QCoreApplication::sendEvent(list, &change);
    }
}

} // namespace

bool hasRoomForText(const QWidget &control)
{
    const QSize inside = control.size() - QSize(2 * frame, 2 * frame);
    if (const auto *button = qobject_cast<const QPushButton *>(&control))
        return button->text().isEmpty() || isWithin(contentSize(*button), inside);
    if (qobject_cast<const QLineEdit *>(&control))
        return control.fontMetrics().height() <= inside.height();
    if (qobject_cast<const QLabel *>(&control) || qobject_cast<const QCheckBox *>(&control) ||
        qobject_cast<const QComboBox *>(&control))
        return isWithin(control.minimumSizeHint(), control.size());
    return true;
}

void shrinkFont(const QList<QWidget *> &controls, const std::function<bool()> &fits)
{
    QFont font = controls.first()->font();
    const double pointsPerPixel = QFontInfo(font).pointSizeF() / QFontInfo(font).pixelSize();
    double size = font.pointSizeF() > 0 ? font.pointSizeF() : font.pixelSize() * pointsPerPixel;
    while (!fits() && size > minimumFont) {
        size -= step;
        font.setPointSizeF(size);
        for (QWidget *control : controls)
            setFont(*control, font);
    }
}
