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

/// Resolves an input: a path if such a file exists, seen from `folder` and also with a query and fragment
/// after it (`page.html?a#b`), otherwise an address, which gets "http://" if it has no scheme. Throws
/// Failure(NotLoaded) for a folder, a pipe, device or file of the kernel's, a file that cannot be read
/// (whether by its path or its address), and a scheme other than http, https and file.
Address resolveInput(const QString &input, const QString &folder = QStringLiteral("."));

/// Resolves where a document from standard input counts as being: a file or folder seen from `folder`, which
/// it is itself if `base` is empty, otherwise an address. Throws as resolveInput() does, but not for a
/// folder.
Address resolveBase(const QString &base, const QString &folder);
