#pragma once

#include "engine/job/job.h"

#include <QStringList>

#include <optional>
#include <span>

/// The headings under which help, man page and docs/engine.md list the options, in this order.
enum class OptionGroup { Page, Document, Network, Limits, Warnings, Program };

/// What is printed instead of a job being done.
enum class Answer { Help, Version };

/// A row of the table of options. The parser, --help, the completions of the shells, and the options' part of
/// the man page and of docs/engine.md are made of it.
struct Option {
    OptionGroup group;
    /// "--page-size".
    const char *name;
    /// What its value is called: "NAME". Null for an option without one.
    const char *value = nullptr;
    /// For --help: a phrase. Completions show what stands before its first colon or parenthesis.
    const char *help;
    /// For the man page and docs/engine.md: sentences in Markdown, of which `code` and [links](address) are
    /// used.
    const char *details;
    /// Arguments with this option in them.
    const char *example;
    /// What it does to the job. Throws Failure(BadArguments), calling the option `name`, if it cannot take
    /// the value.
    void (*apply)(Job &job, const QString &name, const QString &value) = nullptr;
    /// In place of `apply`.
    std::optional<Answer> answer = std::nullopt;
    /// The values that it takes, for completions; null if they cannot be listed.
    QStringList (*choices)() = nullptr;
    /// Its value is the path of a file.
    bool isFile = false;
    /// Each value counts, not only the last.
    bool isRepeatable = false;
    /// No list of processes and no message may show its value.
    bool isSecret = false;
    /// The variable of the environment whose value it takes if it is not among the arguments; empty for none.
    const char *variable = "";
};

/// All options, those of a group together.
std::span<const Option> allOptions();

/// Null if there is none of that name.
const Option *findOption(const QString &name);

QString titleOf(OptionGroup group);

/// "--page-size NAME".
QString signatureOf(const Option &option);
