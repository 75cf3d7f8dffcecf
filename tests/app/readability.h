#pragma once

#include <QList>
#include <QString>

class QWidget;

/// How well one text stands out from what is behind it, as it is painted.
struct TextContrast {
    QString where;   ///< the control, and the text
    double ratio;    ///< by WCAG 2: 1 (invisible) to 21 (black on white)
    bool isDisabled; ///< controls out of use may be paler
};

/// The contrast of every text that a window shows now.
QList<TextContrast> textContrasts(QWidget &window);

/// The controls of a window whose text is larger than the room that they have for it, each with how much is
/// missing.
QStringList cutTexts(const QWidget &window);
