#pragma once

#include <QList>

#include <functional>

class QWidget;

/// Whether a button, label, check box, combo box or line edit has room for its text in its current font. True
/// for other controls.
bool hasRoomForText(const QWidget &control);

/// Reduces the font size of all these controls until `fits` returns true, or to a minimum; changes nothing if
/// it does at once. Needed because the forms have fixed sizes, and desktops fonts of any size.
void shrinkFont(const QList<QWidget *> &controls, const std::function<bool()> &fits);
