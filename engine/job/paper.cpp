#include "engine/job/paper.h"

#include "engine/job/papersizes.h"

#include <QLocale>

#include <algorithm>

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

QMarginsF marginsFor(const Job &job)
{
    constexpr double usual = 10 / 25.4 * pointsPerInch;
    const QSizeF paper = paperFor(job);
    const double across = std::min(usual, paper.width() / 3);
    const double upright = std::min(usual, paper.height() / 3);
    return job.margins.value_or(QMarginsF(across, upright, across, upright));
}
