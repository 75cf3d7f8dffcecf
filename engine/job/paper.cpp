#include "engine/job/paper.h"

#include "engine/job/papersizes.h"

#include <QLocale>

QSizeF turned(QSizeF size, PaperOrientation orientation)
{
    const bool isLandscape = size.width() > size.height();
    return isLandscape == (orientation == PaperOrientation::Landscape) ? size : size.transposed();
}

QSizeF paperFor(const Job &job)
{
    const bool inches = QLocale::system().measurementSystem() == QLocale::ImperialUSSystem;
    const QSizeF usual = *paperSizeByName(inches ? QStringLiteral("Letter") : QStringLiteral("A4"));
    const QSizeF size = job.paper.value_or(usual);
    return job.orientation ? turned(size, *job.orientation) : size;
}
