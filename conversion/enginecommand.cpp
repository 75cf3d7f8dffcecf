#include "conversion/enginecommand.h"

#include "settings/settingsfile.h"

#include <QDir>

using namespace Qt::StringLiterals;

namespace
{

/// Escapes text for use within double quotes: three double quotes stand for one; see QProcess::splitCommand.
QString escaped(QString text)
{
    return text.replace(u'"', u"\"\"\""_s);
}

} // namespace

QString enginePath(const QString &applicationFolder)
{
    QDir bundle(applicationFolder);
    bundle.cdUp();
    bundle.cdUp();
    return bundle.absolutePath() + u"/%1/Contents/MacOS/%1"_s.arg(QLatin1String(g_chSoftwareName));
}

QString engineCommand(const QString &engine, const QString &options, const QString &input,
                      const QString &output)
{
    return u"\"%1\" %2 \"%3\" \"%4\""_s.arg(escaped(engine))
        .arg(options)
        .arg(escaped(input))
        .arg(escaped(output));
}
