#include "conversion/sizetext.h"

QString sizeText(qint64 bytes)
{
    return QString::asprintf("%14.3fKb", static_cast<double>(bytes) / 1000.0);
}
