#pragma once

#include <QString>

/// Name of a job's PDF without folder and extension. Of a local file: the file's name up to its last dot. Of
/// an address: its text without certain characters and without "http" anywhere in it. Empty for any other
/// source (see JobSource).
QString outputName(const QString &input, const QString &source);
