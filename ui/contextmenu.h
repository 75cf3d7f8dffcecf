#pragma once

#include <QMenu>
#include <QWidget>

/// A style sheet without a selector is for whatever lies below its control, and so for the control's menu,
/// which must not become transparent or white. This gives a text control the menu that it has anyway, in the
/// desktop's own colours.
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
