#pragma once

#include <QtGlobal>

class QString;

/// Size of a file in bytes; 0 for a missing file and for a folder.
qint64 fileSize(const QString &path);

/// Whether a dropped file counts as having content: the low 32 bits of its size, as a signed number, are
/// positive, by contract.
bool dropHasContent(const QString &path);
