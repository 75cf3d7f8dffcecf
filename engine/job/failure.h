#pragma once

#include "engine/base/exitcode.h"

#include <QString>

#include <exception>

/// Why a job cannot be done: what went wrong and what the user can do, on one line. Thrown by every step of a
/// job and turned into message, log line and exit code in one place, runCommandLine().
class Failure : public std::exception
{
public:
    /// Whether another browser may do better.
    enum class Retry { MayHelp, IsInVain };

    Failure(ExitCode code, const QString &message, Retry retry = Retry::MayHelp);

    ExitCode code() const { return m_code; }
    const QString &message() const { return m_message; }
    bool isFinal() const { return m_retry == Retry::IsInVain; }
    const char *what() const noexcept override { return m_utf8.constData(); }

private:
    ExitCode m_code;
    QString m_message;
    QByteArray m_utf8;
    Retry m_retry;
};

/// Why a PDF that is larger than this many MiB is given up.
Failure tooLargeForOutput(int mebibytes);

/// As of engine/base/text.h.
QString onOneLine(const QString &text);

/// `address` without the user name and password that may stand in it, for messages and logs.
QString withoutCredentials(const QString &address);
