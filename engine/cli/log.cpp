#include "engine/cli/log.h"

#include "engine/job/failure.h"

#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <fcntl.h>
#include <unistd.h>

namespace
{

/// A log of this size is set aside as engine.log.1 and a new one begun.
constexpr qint64 largestLog = 512LL * 1024;
/// In characters: two names and a reason, each of which is cut before.
constexpr qsizetype longestEntry = 2000;

} // namespace

QString logPath()
{
#ifdef Q_OS_MACOS
    return QDir::homePath() + QStringLiteral("/Library/Logs/quirelle/engine.log");
#else
    QString folder = qEnvironmentVariable("XDG_STATE_HOME");
    if (!QDir::isAbsolutePath(folder))
        folder = QDir::homePath() + QStringLiteral("/.local/state");
    return folder + QStringLiteral("/quirelle/engine.log");
#endif
}

void appendToLog(const QString &line)
{
    const QString path = logPath();
    const QByteArray bytes =
        QStringLiteral("%1 %2\n")
            .arg(QDateTime::currentDateTime().toString(Qt::ISODateWithMs), onOneLine(line, longestEntry))
            .toUtf8();
    if (QFileInfo(path).size() > largestLog)
        ::rename(QFile::encodeName(path).constData(),
                 QFile::encodeName(path + QStringLiteral(".1")).constData());
    QDir().mkpath(QFileInfo(path).path());
    const int file =
        ::open(QFile::encodeName(path).constData(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0600);
    if (file < 0)
        return;
    // One write, so that the lines of engines that run at the same time do not mix.
    [[maybe_unused]] const ssize_t written =
        ::write(file, bytes.constData(), static_cast<size_t>(bytes.size()));
    ::close(file);
}
