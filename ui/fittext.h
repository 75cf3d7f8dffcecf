#pragma once

#include <QList>

#include <functional>

class QWidget;

/// Whether a button, label, check box, list or line has room for its text in the font that it has now. Other
/// controls have.
bool hasRoomForText(const QWidget &control);

/// Forms have fixed sizes, desktops have fonts of any. Makes the font of these controls, alike, as much
/// smaller as it takes until everything fits; where it does at once, nothing is changed.
void shrinkFont(const QList<QWidget *> &controls, const std::function<bool()> &fits);
