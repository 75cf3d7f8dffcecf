#pragma once

#include <QtGlobal>

#include <array>

/// A choice in the settings dialog and the engine's name for it. The settings file stores the index of a
/// paper or an orientation, so the order of these tables is part of the file format. The texts are kept by
/// contract, also those that are wrong: B9 is 44x62 mm, C5E 162x229 mm and DLE 110x220 mm, and Ledger has a
/// stray space.
struct Choice {
    const char
        *option;      ///< value of the engine's option; empty where the engine's own default is left in force
    const char *text; ///< what the list shows, to be translated in the context "SettingDialog"
};

inline constexpr std::array<Choice, 31> g_paperSizes{{
    {"", QT_TRANSLATE_NOOP("SettingDialog", "Default")},
    {"A0", QT_TRANSLATE_NOOP("SettingDialog", "A0 (841x1189 mm)")},
    {"A1", QT_TRANSLATE_NOOP("SettingDialog", "A1 (594x841 mm)")},
    {"A2", QT_TRANSLATE_NOOP("SettingDialog", "A2 (420x594 mm)")},
    {"A3", QT_TRANSLATE_NOOP("SettingDialog", "A3 (297x420 mm)")},
    {"A4", QT_TRANSLATE_NOOP("SettingDialog", "A4 (210x297 mm)")},
    {"A5", QT_TRANSLATE_NOOP("SettingDialog", "A5 (148x210 mm)")},
    {"A6", QT_TRANSLATE_NOOP("SettingDialog", "A6 (105x148 mm)")},
    {"A7", QT_TRANSLATE_NOOP("SettingDialog", "A7 (74x105 mm)")},
    {"A8", QT_TRANSLATE_NOOP("SettingDialog", "A8 (52x74 mm)")},
    {"A9", QT_TRANSLATE_NOOP("SettingDialog", "A9 (37x52 mm)")},
    {"B0", QT_TRANSLATE_NOOP("SettingDialog", "B0 (1000x1414 mm)")},
    {"B1", QT_TRANSLATE_NOOP("SettingDialog", "B1 (707x1000 mm)")},
    {"B2", QT_TRANSLATE_NOOP("SettingDialog", "B2 (500x707 mm)")},
    {"B3", QT_TRANSLATE_NOOP("SettingDialog", "B3 (353x500 mm)")},
    {"B4", QT_TRANSLATE_NOOP("SettingDialog", "B4 (250x353 mm)")},
    {"B5", QT_TRANSLATE_NOOP("SettingDialog", "B5 (176x250 mm)")},
    {"B6", QT_TRANSLATE_NOOP("SettingDialog", "B6 (125x176 mm)")},
    {"B7", QT_TRANSLATE_NOOP("SettingDialog", "B7 (88x125 mm)")},
    {"B8", QT_TRANSLATE_NOOP("SettingDialog", "B8 (62x88 mm)")},
    {"B9", QT_TRANSLATE_NOOP("SettingDialog", "B9 (33x62 mm)")},
    {"B10", QT_TRANSLATE_NOOP("SettingDialog", "B10 (31x44 mm)")},
    {"C5E", QT_TRANSLATE_NOOP("SettingDialog", "C5E (163x229 mm)")},
    {"Comm10E", QT_TRANSLATE_NOOP("SettingDialog", "Comm10E (105x241 mm)")},
    {"DLE", QT_TRANSLATE_NOOP("SettingDialog", "DLE (105x241 mm)")},
    {"Executive", QT_TRANSLATE_NOOP("SettingDialog", "Executive (190.5x254 mm)")},
    {"Folio", QT_TRANSLATE_NOOP("SettingDialog", "Folio (210x330 mm)")},
    {"Ledger", QT_TRANSLATE_NOOP("SettingDialog", "Ledger (431.8x279. 4mm)")},
    {"Legal", QT_TRANSLATE_NOOP("SettingDialog", "Legal (215.9x355.6 mm)")},
    {"Letter", QT_TRANSLATE_NOOP("SettingDialog", "Letter (215.9x279.4 mm)")},
    {"Tabloid", QT_TRANSLATE_NOOP("SettingDialog", "Tabloid (279.4x431.8 mm)")},
}};

inline constexpr std::array<Choice, 2> g_orientations{{
    {"", QT_TRANSLATE_NOOP("SettingDialog", "Portrait")},
    {"Landscape", QT_TRANSLATE_NOOP("SettingDialog", "Landscape")},
}};

/// Minimum font sizes in points that the list offers. Any other size within the range below may be typed. The
/// number itself is stored, 0 for "Default".
inline constexpr std::array<const char *, 15> g_fontSizes{
    QT_TRANSLATE_NOOP("SettingDialog", "Default"),
    "9",
    "11",
    "12",
    "14",
    "16",
    "18",
    "20",
    "22",
    "26",
    "28",
    "36",
    "48",
    "56",
    "72",
};
inline constexpr int g_minimumFontSize = 5;
inline constexpr int g_maximumFontSize = 72;

/// Maximum length of a title, user name, password or proxy, in UTF-16 code units; longer ones are truncated.
inline constexpr qsizetype g_maximumTextLength = 100;
