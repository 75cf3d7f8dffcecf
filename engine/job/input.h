#pragma once

#include <QString>

/// What the browser is to open for an input.
struct Address {
    /// For the browser: a file address, or the input itself with its scheme.
    QString url;
    /// For messages: as the user named it, without a password.
    QString shown;
    bool isFile = false;
    /// What stood in front of the host, taken out of the address.
    QString userName;
    QString password;
};

/// Resolves an input: a path if such a file exists, otherwise an address, which gets "http://" if it has no
/// scheme. Throws Failure(NotLoaded) for a folder, a pipe or device, a file that cannot be read, and a scheme
/// other than http, https and file.
Address resolveInput(const QString &input);
