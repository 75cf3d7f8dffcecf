#include "ui/icons.h"

#include <QAbstractButton>
#include <QIcon>
#include <QPixmap>

using namespace Qt::StringLiterals;

void showButtonImage(QAbstractButton &button, const QString &image)
{
    QIcon icon(image);
    // As another size, not as the picture for one density: at 1.5 the icon is then made from the larger one.
    icon.addFile(QString(image).replace("MyImage"_L1, "MyImage2x"_L1));
    button.setIcon(icon);
    button.setIconSize(QPixmap(image).size());
}
