#pragma once

#include <QMenu>
#include <QWidget>

/// Shows a text control's standard context menu in the desktop's own colours. Otherwise a style sheet without
/// a selector applies to the menu too, as a child of the control, and makes it transparent or white.
template <typename TextControl>
void keepMenuUnstyled(TextControl &control)
{
    control.setContextMenuPolicy(Qt::CustomContextMenu);
    QObject::connect(&control, &QWidget::customContextMenuRequested, &control, [&control](QPoint at) {
        QMenu *menu = control.createStandardContextMenu();
        menu->setParent(control.window(), menu->windowFlags());
        menu->setAttribute(Qt::WA_DeleteOnClose);
        menu->popup(control.mapToGlobal(at));
    });
}
