#pragma once

#include <QList>
#include <QString>

class QWidget;

/// The contrast between a text and its background, as painted.
struct TextContrast {
    QString where;   ///< the control, and the text
    double ratio;    ///< by WCAG 2: 1 (invisible) to 21 (black on white)
    bool isDisabled; ///< controls out of use may be paler
};

/// The contrast of every text that a window shows now.
QList<TextContrast> textContrasts(QWidget &window);

/// The controls of a window that are too small for their text, each with the number of missing pixels.
QStringList cutTexts(const QWidget &window);
