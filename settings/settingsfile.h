#pragma once

#include <QList>
#include <QSettings>
#include <QString>

#include <utility>

/// Short name of the product: names the engine's bundle and executable and starts the settings file's name.
extern const char *g_chSoftwareName;

/// Absolute path of the settings file: beside the executable; in the user's configuration folder
/// (QStandardPaths::AppConfigLocation) only where the executable's folder is not writable and holds no such
/// file that the user can read.
QString settingsFilePath();

/// The one file that outlives a run, in INI format, opened to be read: every key lies in the group
/// SettingInfo, every value is text. Nobody keeps it open: each operation opens it anew. What is missing,
/// unreadable or no regular file, such as a FIFO, which would block, reads as empty, silently.
QSettings storedSettings();

/// Stores values under their full keys, in this order, and keeps all others. A failed write is lost,
/// silently; what is no regular file is left alone. The file holds a password, so it is made private first.
void storeSettings(const QList<std::pair<const char16_t *, QString>> &values);

/// Creates a missing settings file, empty and with mode 0600, together with its folder. Of an existing one
/// that belongs to the user it takes every permission beyond these, and leaves its content as it is. Returns
/// whether the file is there.
bool ensurePrivateSettingsFile();

/// Full keys, as stored. The spelling of PaperSizeModel's key is part of the file format.
namespace SettingKey
{
inline constexpr char16_t PaperSizeModel[] = u"/SettingInfo/PaperSiezeModel";
inline constexpr char16_t PaperWidth[] = u"/SettingInfo/PaperWidth";
inline constexpr char16_t PaperHeight[] = u"/SettingInfo/PaperHeight";
inline constexpr char16_t CopyNumber[] = u"/SettingInfo/CopyNumber";
inline constexpr char16_t Orientation[] = u"/SettingInfo/Orientation";
inline constexpr char16_t FontSize[] = u"/SettingInfo/FontSize";
inline constexpr char16_t Title[] = u"/SettingInfo/Title";
inline constexpr char16_t AuthUser[] = u"/SettingInfo/AuthUser";
inline constexpr char16_t Password[] = u"/SettingInfo/Password";
inline constexpr char16_t Proxy[] = u"/SettingInfo/Proxy";
inline constexpr char16_t NoWebLink[] = u"/SettingInfo/NoWebLink";
inline constexpr char16_t Grayscale[] = u"/SettingInfo/Grayscale";
inline constexpr char16_t DisableJs[] = u"/SettingInfo/DisableJs";
inline constexpr char16_t NoImages[] = u"/SettingInfo/NoImages";
inline constexpr char16_t LowQuality[] = u"/SettingInfo/LowQuality";
inline constexpr char16_t NoBackground[] = u"/SettingInfo/NoBackground";
inline constexpr char16_t OutputFolder[] = u"/SettingInfo/OutputFolder";
inline constexpr char16_t InputFolder[] = u"/SettingInfo/InputFolder";
inline constexpr char16_t ListFilePath[] = u"/SettingInfo/ListFilePath";
} // namespace SettingKey
