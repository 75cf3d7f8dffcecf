#include "engine/job/input.h"

#include "engine/job/failure.h"
#include "engine/job/files.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QRegularExpression>
#include <QUrl>

#include <algorithm>
#include <climits>

namespace
{

[[noreturn]] void refuse(const QString &message)
{
    throw Failure(ExitCode::NotLoaded, message);
}

/// The address of the file at `path`, which exists, with a query and fragment to come after it. Throws if it
/// is no document that can be read.
Address fileAddress(const QString &path, const QString &rest, const QString &shown)
{
    const QFileInfo file(path);
    if (file.isDir())
        refuse(QStringLiteral("%1 is a folder, not a document").arg(shown));
    if (!file.isFile() || (file.isReadable() && !isOrdinaryFile(path)))
        refuse(QStringLiteral("%1 is no ordinary file: write the document to one first").arg(shown));
    if (!file.isReadable())
        refuse(QStringLiteral("%1 cannot be read: permission denied").arg(shown));
    const QString url = QUrl::fromLocalFile(file.absoluteFilePath()).toString(QUrl::FullyEncoded);
    return {url + rest, shown, true, {}, {}};
}

QRegularExpression queryOrFragment()
{
    return QRegularExpression(QStringLiteral("[?#]"));
}

/// Where the query or fragment of `input` begins, if what stands before it is the path of a file; the longest
/// such path counts. -1 for none.
qsizetype endOfPath(const QString &input)
{
    const QRegularExpression mark = queryOrFragment();
    for (qsizetype end = input.left(PATH_MAX).lastIndexOf(mark); end > 0;
         end = input.lastIndexOf(mark, end - 1)) {
        const QFileInfo file(input.left(end));
        if (file.exists() && !file.isDir())
            return end;
    }
    return -1;
}

/// As browsers read it, apart from other machines' files.
Address fromFileAddress(const QString &address, const QString &shown)
{
    const qsizetype mark = address.indexOf(queryOrFragment());
    const qsizetype end = mark < 0 ? address.size() : mark;
    const QUrl url(address.left(end));
    if (!url.host().isEmpty() && url.host() != QLatin1String("localhost"))
        refuse(QStringLiteral("%1 is a file of another machine: copy it here first").arg(shown));
    QString path = url.path(QUrl::FullyDecoded);
    if (!path.startsWith(u'/'))
        path.prepend(u'/');
    if (path.contains(QChar(QChar::Null)))
        refuse(QStringLiteral("there is no file %1").arg(shown));
    if (QFileInfo::exists(path))
        return fileAddress(path, address.mid(end), shown);
    // Why it cannot be had the browser says.
    return {QUrl::fromLocalFile(path).toString(QUrl::FullyEncoded), shown, true, {}, {}};
}

/// The scheme that an address begins with, in small letters; empty for none. "localhost:8080" has none.
QString schemeOf(const QString &address)
{
    static const QRegularExpression pattern(
        QStringLiteral("^([A-Za-z][A-Za-z0-9+.-]*):(?://|(?!\\d+(?:[/?#]|$)).)"));
    return pattern.match(address).captured(1).toLower();
}

} // namespace

Address resolveInput(const QString &input, const QString &folder)
{
    const QString path = QDir(folder).filePath(input);
    if (QFileInfo::exists(path))
        return fileAddress(path, {}, input);
    if (const qsizetype end = endOfPath(path); end > 0)
        return fileAddress(path.left(end), path.mid(end), input);

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
    return scheme == QLatin1String("file") ? fromFileAddress(address, shown) : web(address);
}

Address resolveBase(const QString &base, const QString &folder)
{
    const QUrl url(base);
    const QString path = url.isLocalFile() ? url.toLocalFile() : QDir(folder).filePath(base);
    Address address;
    if (QFileInfo(path).isDir()) {
        address.url = QUrl::fromLocalFile(QDir(path).absolutePath() + u'/').toString(QUrl::FullyEncoded);
        address.isFile = true;
    } else {
        address = resolveInput(base, folder);
    }
    address.shown = QStringLiteral("standard input");
    return address;
}
