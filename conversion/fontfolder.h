#pragma once

#include <QByteArray>

class QString;

/// The setting "PCLFONTSOURCE=…" that names the folder "fonts/" beside the application bundle, as Latin-1,
/// from the folder of the window's own executable.
QByteArray fontFolderSetting(const QString &applicationFolder);
