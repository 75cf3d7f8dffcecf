#include "engine/job/lengths.h"

#include <QList>
#include <QRegularExpression>

using namespace Qt::StringLiterals;

namespace
{

struct Unit {
    QLatin1String name;
    double points;
};

constexpr Unit units[] = {
    {"mm"_L1, 72 / 25.4}, {"cm"_L1, 72 / 2.54}, {"in"_L1, 72}, {"pt"_L1, 1}, {"px"_L1, 0.75},
};

constexpr double minimumSide = 10;

/// The unit has been checked.
double pointsOf(const QString &number, const QString &unit)
{
    for (const Unit &known : units) {
        if (unit.compare(known.name, Qt::CaseInsensitive) == 0)
            return number.toDouble() * known.points;
    }
    return 0;
}

bool isSide(double points)
{
    // Half a point more for sizes that were converted from other units.
    return points >= minimumSide && points <= maximumSide + 0.5;
}

} // namespace

std::optional<QSizeF> paperSizeOf(const QString &text)
{
    static const QRegularExpression pattern(
        u"^([0-9]{1,6}(?:\\.[0-9]{1,6})?)(mm|cm|in|pt|px)?x([0-9]{1,6}(?:\\.[0-9]{1,6})?)(mm|cm|in|pt|px)$"_s,
        QRegularExpression::CaseInsensitiveOption);
    const QRegularExpressionMatch match = pattern.match(text);
    if (!match.hasMatch())
        return std::nullopt;
    const QString unit = match.captured(4);
    const QSizeF size(pointsOf(match.captured(1), match.hasCaptured(2) ? match.captured(2) : unit),
                      pointsOf(match.captured(3), unit));
    return isSide(size.width()) && isSide(size.height()) ? std::optional(size) : std::nullopt;
}

std::optional<QMarginsF> marginsOf(const QString &text)
{
    static const QRegularExpression pattern(u"^(?:([0-9]{1,6}(?:\\.[0-9]{1,6})?)(mm|cm|in|pt|px)|0)$"_s,
                                            QRegularExpression::CaseInsensitiveOption);
    QList<double> lengths;
    for (const QString &word : text.split(u' ', Qt::SkipEmptyParts)) {
        const QRegularExpressionMatch match = pattern.match(word);
        if (!match.hasMatch())
            return std::nullopt;
        lengths += pointsOf(match.captured(1), match.captured(2));
        if (lengths.last() > maximumSide)
            return std::nullopt;
    }
    if (lengths.isEmpty() || lengths.size() > 4)
        return std::nullopt;
    const double top = lengths[0];
    const double right = lengths.value(1, top);
    return QMarginsF(lengths.value(3, right), top, right, lengths.value(2, top));
}
