#pragma once

#include <QString>

#include <optional>

/// A proxy as the browser takes it, and what answers it if it asks who is there.
struct Proxy {
    /// "http://host:port", "https://…" or "socks5://…".
    QString server;
    QString userName;
    QString password;
};

/// Reads [http://|https://|socks5://][user:password@]host[:port]; percent-encoded characters in the name and
/// password are decoded. Throws Failure(BadArguments), without repeating the password, for anything else, and
/// for a name and password to a SOCKS proxy, for which browsers have no means.
Proxy parseProxy(const QString &text);
