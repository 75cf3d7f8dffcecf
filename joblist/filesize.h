#pragma once

#include <QtGlobal>

class QString;

/// Size of a file in bytes; 0 for what is missing and for a folder, whatever size the system gives to
/// folders.
qint64 fileSize(const QString &path);

/// Whether a dropped file counts as one with content. Only the low 32 bits of its size are looked at, as a
/// signed number, by contract.
bool dropHasContent(const QString &path);
