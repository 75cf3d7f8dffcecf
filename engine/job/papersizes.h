#pragma once

#include <QSizeF>
#include <QString>

#include <optional>
#include <string_view>

/// A paper that --page-size knows: its name and its size in millimetres, as QPageSize has it.
struct PaperSize {
    std::string_view name;
    double widthMillimetres;
    double heightMillimetres;
};

/// The table stands here as numbers because the engine is started once per job, and loading the toolkit's GUI
/// library for it would double that start; a test holds every row against QPageSize.
inline constexpr PaperSize paperSizes[] = {
    {"A0", 841, 1189},
    {"A1", 594, 841},
    {"A2", 420, 594},
    {"A3", 297, 420},
    {"A4", 210, 297},
    {"A5", 148, 210},
    {"A6", 105, 148},
    {"A7", 74, 105},
    {"A8", 52, 74},
    {"A9", 37, 52},
    {"B0", 1000, 1414},
    {"B1", 707, 1000},
    {"B2", 500, 707},
    {"B3", 353, 500},
    {"B4", 250, 353},
    {"B5", 176, 250},
    {"B6", 125, 176},
    {"B7", 88, 125},
    {"B8", 62, 88},
    {"B9", 44, 62},
    {"B10", 31, 44},
    {"C5E", 162, 229},
    {"Comm10E", 104.8, 241.3},
    {"DLE", 110, 220},
    {"Executive", 190.5, 254},
    {"Folio", 210, 330},
    {"Ledger", 431.8, 279.4},
    {"Legal", 215.9, 355.6},
    {"Letter", 215.9, 279.4},
    {"Tabloid", 279.4, 431.8},
};

inline constexpr double pointsPerMillimetre = 72.0 / 25.4;

/// The paper of that name in points, whatever the case of its letters; nothing if there is none.
std::optional<QSizeF> paperSizeByName(const QString &name);

/// All names, separated by blanks, for help and messages.
QString paperSizeNames();
