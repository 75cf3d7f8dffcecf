#pragma once

#include "engine/job/job.h"

#include <QStringList>

#include <string>
#include <vector>

/// A job of several inputs, whose PDFs are joined.
struct Joining {
    /// Its input is empty.
    Job whole;
    /// In order; Job::inputLists has more.
    QStringList inputs;
    /// The command line without inputs and output, and without the options for the whole.
    std::vector<std::string> partArguments;
};

/// The inputs in the text of a list: one a line, without the blanks around it. Empty lines do not count, nor
/// do those that begin with "#". Throws Failure(BadArguments) if it is not UTF-8; `name` is what messages
/// call it.
QStringList inputsIn(const QByteArray &list, const QString &name);

/// The joining with the inputs of its lists, which are read. Throws Failure(BadArguments) if a list cannot be
/// read, if there is no input at all, or if standard input is asked for twice.
Joining withListedInputs(Joining joining);

/// "a.html and 2 more -> all.pdf", as nameOf() for a job.
QString nameOf(const Joining &joining);
