#pragma once

#include <QPageSize>
#include <QSizeF>

/// Every paper that the engine knows by name, as the toolkit has it.
struct NamedSize {
    const char *name;
    QPageSize::PageSizeId id;
};

inline constexpr NamedSize everySize[] = {
    {"A0", QPageSize::A0},
    {"A1", QPageSize::A1},
    {"A2", QPageSize::A2},
    {"A3", QPageSize::A3},
    {"A4", QPageSize::A4},
    {"A5", QPageSize::A5},
    {"A6", QPageSize::A6},
    {"A7", QPageSize::A7},
    {"A8", QPageSize::A8},
    {"A9", QPageSize::A9},
    {"B0", QPageSize::B0},
    {"B1", QPageSize::B1},
    {"B2", QPageSize::B2},
    {"B3", QPageSize::B3},
    {"B4", QPageSize::B4},
    {"B5", QPageSize::B5},
    {"B6", QPageSize::B6},
    {"B7", QPageSize::B7},
    {"B8", QPageSize::B8},
    {"B9", QPageSize::B9},
    {"B10", QPageSize::B10},
    {"C5E", QPageSize::C5E},
    {"Comm10E", QPageSize::Comm10E},
    {"DLE", QPageSize::DLE},
    {"Executive", QPageSize::Executive},
    {"Folio", QPageSize::Folio},
    {"Ledger", QPageSize::Ledger},
    {"Legal", QPageSize::Legal},
    {"Letter", QPageSize::Letter},
    {"Tabloid", QPageSize::Tabloid},
};

/// A paper in points.
inline QSizeF pointsOf(QPageSize::PageSizeId id)
{
    // Whole points are too coarse for some; the unit that a size is defined in is exact.
    const QPageSize paper(id);
    return paper.definitionSize() * (paper.definitionUnits() == QPageSize::Millimeter ? 72 / 25.4 : 72);
}
