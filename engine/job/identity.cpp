#include "engine/job/identity.h"

#include <QRegularExpression>
#include <QStringList>

using namespace Qt::StringLiterals;

namespace
{

/// The browser refuses to send them, or would send something that servers misunderstand.
constexpr const char *connectionHeaders[] = {
    "Connection", "Content-Length", "Cookie2",           "Host",    "Keep-Alive",
    "TE",         "Trailer",        "Transfer-Encoding", "Upgrade", "Proxy-Connection"};

bool hasControlCharacters(const QString &text)
{
    static const QRegularExpression control(u"[\\x00-\\x1f\\x7f]"_s);
    return text.contains(control);
}

/// "TRUE" or "FALSE".
std::optional<bool> truthOf(const QString &word)
{
    const bool isTrue = word.compare("TRUE"_L1, Qt::CaseInsensitive) == 0;
    return isTrue || word.compare("FALSE"_L1, Qt::CaseInsensitive) == 0 ? std::optional(isTrue)
                                                                        : std::nullopt;
}

} // namespace

std::optional<Header> headerOf(const QString &text)
{
    static const QRegularExpression pattern(
        u"^([!#$%&'*+.^_`|~0-9A-Za-z-]+):[ \t]*([^\\x00-\\x08\\x0a-\\x1f\\x7f]*)\\z"_s);
    const QRegularExpressionMatch match = pattern.match(text);
    if (!match.hasMatch())
        return std::nullopt;
    for (const char *name : connectionHeaders) {
        if (match.captured(1).compare(QLatin1String(name), Qt::CaseInsensitive) == 0)
            return std::nullopt;
    }
    return Header{match.captured(1), match.captured(2).trimmed()};
}

std::optional<Cookie> cookieOf(const QString &line)
{
    const QString httpOnly = u"#HttpOnly_"_s;
    const bool isHttpOnly = line.startsWith(httpOnly);
    const QStringList fields = line.mid(isHttpOnly ? httpOnly.size() : 0).split(u'\t');
    if (fields.size() != 7)
        return std::nullopt;
    Cookie cookie;
    cookie.domain = fields[0].mid(fields[0].startsWith(u'.') ? 1 : 0).toLower();
    cookie.path = fields[2];
    cookie.isHttpOnly = isHttpOnly;
    cookie.name = fields[5];
    cookie.value = fields[6];
    const std::optional<bool> forSubdomains = truthOf(fields[1]);
    const std::optional<bool> isSecure = truthOf(fields[3]);
    bool isNumber = false;
    cookie.expires = fields[4].toLongLong(&isNumber);
    if (cookie.domain.isEmpty() || !cookie.path.startsWith(u'/') || !forSubdomains || !isSecure ||
        !isNumber || cookie.expires < 0 || cookie.name.contains(u';') || cookie.name.contains(u'=') ||
        cookie.value.contains(u';') || (cookie.name.isEmpty() && cookie.value.isEmpty()) ||
        hasControlCharacters(cookie.name + cookie.value))
        return std::nullopt;
    cookie.forSubdomains = *forSubdomains;
    cookie.isSecure = *isSecure;
    return cookie;
}
