#pragma once

#include <QList>
#include <QString>

#include <optional>

/// A header that requests are sent with.
struct Header {
    QString name;
    QString value;
};

/// A cookie that the browser begins with.
struct Cookie {
    QString domain;             ///< without a dot at its beginning
    bool forSubdomains = false; ///< also sent to the domains below it
    QString path;
    bool isSecure = false;
    bool isHttpOnly = false;
    qint64 expires = 0; ///< seconds since 1970, UTC; 0 for one that ends with the browser
    QString name;
    QString value;
};

/// Reads "Name: value". Nothing for anything else, a value of several lines, and a header that is the
/// connection's own, such as Host.
std::optional<Header> headerOf(const QString &text);

/// Reads a line of a cookie file as curl writes it: domain, whether subdomains are meant, path, whether it is
/// secure, the seconds since 1970 when it ends, name, and value, separated by tabs. Nothing for anything
/// else.
std::optional<Cookie> cookieOf(const QString &line);
