#include "ui/icons.h"

#include <QAbstractButton>
#include <QIcon>
#include <QPixmap>

using namespace Qt::StringLiterals;

void showButtonImage(QAbstractButton &button, const QString &image)
{
    QIcon icon(image);
    // Added as a second size, not as an "@2x" image: then a scale of 1.5 uses the larger image as well.
    icon.addFile(QString(image).replace("MyImage"_L1, "MyImage2x"_L1));
    button.setIcon(icon);
    button.setIconSize(QPixmap(image).size());
}
