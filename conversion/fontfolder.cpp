#include "conversion/fontfolder.h"

#include <QString>

QByteArray fontFolderSetting(const QString &applicationFolder)
{
    const QString bundle = applicationFolder.left(applicationFolder.lastIndexOf(u'.'));
    QByteArray folder = bundle.left(bundle.lastIndexOf(u'/')).toLatin1();
    if (!folder.endsWith('/') && !folder.endsWith('\\'))
        folder += '/';
    QByteArray setting = "PCLFONTSOURCE=" + folder + "fonts/";
    return setting.replace('\\', '/');
}
