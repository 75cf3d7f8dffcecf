#pragma once

#include "engine/cli/options.h"

#include <QString>

#include <span>

// Texts generated from the table of options.

QString bashCompletion(std::span<const Option> options);
QString zshCompletion(std::span<const Option> options);
QString fishCompletion(std::span<const Option> options);

/// The options in the markup of man pages, a section for each group.
QString manualOptions(std::span<const Option> options);
/// The options in Markdown, a table for each group.
QString markdownOptions(std::span<const Option> options);

/// `text` with `options` in place of what stands between its lines with "BEGIN OPTIONS" and "END OPTIONS".
/// Throws std::runtime_error if it has no such lines.
QString withOptions(const QString &text, const QString &options);
