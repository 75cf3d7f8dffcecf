#include "ui/icons.h"

#include <QAbstractButton>
#include <QIcon>
#include <QPixmap>

using namespace Qt::StringLiterals;

void showButtonImage(QAbstractButton &button, const QString &image)
{
    QIcon icon(image);
    QPixmap twice(QString(image).replace("MyImage"_L1, "MyImage2x"_L1));
    if (!twice.isNull()) {
        twice.setDevicePixelRatio(2);
        icon.addPixmap(twice);
    }
    button.setIcon(icon);
    button.setIconSize(QPixmap(image).size());
}
