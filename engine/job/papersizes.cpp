#include "engine/job/papersizes.h"

#include <QStringList>

namespace
{

QLatin1String nameOf(const PaperSize &size)
{
    return {size.name.data(), static_cast<qsizetype>(size.name.size())};
}

} // namespace

std::optional<QSizeF> paperSizeByName(const QString &name)
{
    for (const PaperSize &size : paperSizes) {
        if (name.compare(nameOf(size), Qt::CaseInsensitive) == 0)
            return QSizeF(size.widthMillimetres, size.heightMillimetres) * pointsPerMillimetre;
    }
    return std::nullopt;
}

QString paperSizeNames()
{
    QStringList names;
    for (const PaperSize &size : paperSizes)
        names += nameOf(size);
    return names.join(QLatin1Char(' '));
}
