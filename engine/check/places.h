#pragma once

#include <QString>
#include <QStringList>

/// The settings file of the window that the engine `executable` belongs to: beside the window's program, or
/// in the user's configuration folder if that place can be neither written nor read.
QString settingsFileFor(const QString &executable);

/// The languages ("de", "en-US") of the hyphenation dictionaries in this folder.
QStringList hyphenatedLanguages(const QString &folder);
