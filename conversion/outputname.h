#pragma once

#include <QString>

/// Name of a job's PDF without folder and extension. For a local file: its name up to the last dot. For an
/// address: its text without certain characters and without any "http". For any other source (see JobSource):
/// empty.
QString outputName(const QString &input, const QString &source);
