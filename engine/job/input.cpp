#include "engine/job/input.h"

#include "engine/job/failure.h"

#include <QFileInfo>
#include <QRegularExpression>
#include <QUrl>

#include <algorithm>

namespace
{

[[noreturn]] void refuse(const QString &message)
{
    throw Failure(ExitCode::NotLoaded, message);
}

/// Whether this path means whatever the process that opens it has open, and so something else to the browser.
bool isDescriptor(const QString &absolutePath)
{
    static const QRegularExpression pattern(QStringLiteral("^/(dev/(stdin$|fd/)|proc/)"));
    return pattern.match(absolutePath).hasMatch();
}

/// The scheme that an address begins with, in small letters; empty for none. "localhost:8080" has none.
QString schemeOf(const QString &address)
{
    static const QRegularExpression pattern(
        QStringLiteral("^([A-Za-z][A-Za-z0-9+.-]*):(?://|(?!\\d+(?:[/?#]|$)).)"));
    return pattern.match(address).captured(1).toLower();
}

} // namespace

Address resolveInput(const QString &input)
{
    const QFileInfo file(input);
    if (file.exists()) {
        if (file.isDir())
            refuse(QStringLiteral("%1 is a folder, not a document").arg(input));
        if (!file.isFile() || isDescriptor(file.absoluteFilePath()))
            refuse(QStringLiteral("%1 is no ordinary file: write the document to one first").arg(input));
        if (!file.isReadable())
            refuse(QStringLiteral("%1 cannot be read: permission denied").arg(input));
        return {
            QUrl::fromLocalFile(file.absoluteFilePath()).toString(QUrl::FullyEncoded), input, true, {}, {}};
    }

    const QString address = input.trimmed();
    const QString shown = withoutCredentials(address);
    const auto web = [&](QString url) {
        // As browsers read it.
        static const QRegularExpression slashes(QStringLiteral("^([^:/\\\\]+):[/\\\\]*"));
        url.replace(slashes, QStringLiteral("\\1://"));
        // In the address a name and password would get into the page's own links, and into the PDF with them.
        const QString clean = withoutCredentials(url);
        // With the @ after them.
        const qsizetype length = std::max<qsizetype>(url.size() - clean.size(), 1);
        const QString credentials = url.mid(url.indexOf(u':') + 3, length - 1);
        const qsizetype colon = credentials.indexOf(u':');
        const auto decoded = [](const QString &text) { return QUrl::fromPercentEncoding(text.toUtf8()); };
        return Address{clean, shown, false, decoded(credentials.left(colon)),
                       colon < 0 ? QString() : decoded(credentials.mid(colon + 1))};
    };
    if (address.startsWith(QLatin1Char('/')) || address.startsWith(QLatin1Char('.')))
        refuse(QStringLiteral("there is no file %1").arg(input));
    const QString scheme = schemeOf(address);
    if (scheme.isEmpty())
        return web(QStringLiteral("http://") + address);
    if (scheme != QLatin1String("http") && scheme != QLatin1String("https") &&
        scheme != QLatin1String("file"))
        refuse(QStringLiteral("%1: only http, https and file addresses can be converted").arg(shown));
    const bool isFile = scheme == QLatin1String("file");
    // The browser would print its listing of the folder.
    if (isFile && QFileInfo(QUrl(address).toLocalFile()).isDir())
        refuse(QStringLiteral("%1 is a folder, not a document").arg(shown));
    if (!isFile)
        return web(address);
    return {address, shown, true, {}, {}};
}
