#pragma once

#include "engine/job/job.h"

#include <QStringList>

#include <optional>
#include <span>

/// The headings under which help, man page and docs/engine.md list the options, in this order.
enum class OptionGroup { Input, Page, Document, Network, Limits, Warnings, Program };

/// What is printed instead of a job being done.
enum class Answer { Help, Version, Check };

/// A row of the table of options. The parser, --help, the shell completions, and the options part of the man
/// page and of docs/engine.md are generated from it.
struct Option {
    OptionGroup group;
    /// "--page-size".
    const char *name;
    /// The placeholder for its value: "NAME". Null for an option without a value.
    const char *value = nullptr;
    /// For --help: a phrase. Completions show it up to the first colon or parenthesis.
    const char *help;
    /// For the man page and docs/engine.md: sentences in Markdown, with no markup but `code` and
    /// [links](address).
    const char *details;
    /// Example arguments that use this option.
    const char *example;
    /// Sets it in the job. Throws Failure(BadArguments), naming the option `name`, if the value is invalid.
    void (*apply)(Job &job, const QString &name, const QString &value) = nullptr;
    /// Instead of `apply`.
    std::optional<Answer> answer = std::nullopt;
    /// The valid values, for completions; null if they cannot be listed.
    QStringList (*choices)() = nullptr;
    /// Its value is the path of a file.
    bool isFile = false;
    /// With several inputs it holds for the PDF that is joined of theirs, not for each of them.
    bool isForWhole = false;
    /// Each value counts, not only the last.
    bool isRepeatable = false;
    /// Its value must not be shown in process lists and messages.
    bool isSecret = false;
    /// The environment variable that is used if the option is not among the arguments; empty for none.
    const char *variable = "";
};

/// All options, grouped.
std::span<const Option> allOptions();

/// Null if there is no option of this name.
const Option *findOption(const QString &name);

QString titleOf(OptionGroup group);

/// "--page-size NAME".
QString signatureOf(const Option &option);
