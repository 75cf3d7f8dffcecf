#pragma once

#include <QList>
#include <QSettings>
#include <QString>

#include <utility>

/// Short name of the product, used for the engine's bundle and executable and in the settings file's name.
extern const char *g_chSoftwareName;

/// Absolute path of the settings file: beside the executable, or in the user's configuration folder
/// (QStandardPaths::AppConfigLocation) if the executable's folder is not writable and has no readable
/// settings file.
QString settingsFilePath();

/// The settings file, in INI format, opened for reading: every key is in the group SettingInfo, every value
/// is text. It is not kept open: each operation opens it again. A file that is missing, unreadable or not
/// regular (opening a FIFO would block) reads as empty, without a message.
QSettings storedSettings();

/// Stores values under their full keys, in this order, and keeps all others. A failed write is not reported;
/// a file that is not regular is not written. The file contains a password, so it is made private first.
void storeSettings(const QList<std::pair<const char16_t *, QString>> &values);

/// Creates a missing settings file, empty and with mode 0600, together with its folder. Removes all other
/// permissions from an existing one that belongs to the user. Returns whether the file exists now.
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
