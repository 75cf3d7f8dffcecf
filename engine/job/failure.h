#pragma once

#include <QString>

#include <exception>

/// How an engine process ends: its exit code.
enum class ExitCode {
    Written = 0,      ///< the PDF is there
    BadArguments = 1, ///< the command line is refused; nothing was started
    NoBrowser = 2,    ///< no browser was found, or it cannot start
    NotLoaded = 3,    ///< the page cannot be loaded
    OutOfTime = 4,    ///< the job's time is used up
    NotWritten = 5,   ///< the output cannot be written
    Crashed = 6,      ///< the page or the browser crashed
};

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

/// `text` as it may stand on one line of a terminal or log: control characters, line and paragraph separators
/// become "\u" escapes, and of a text of more characters than `longest` the middle is left out.
QString onOneLine(const QString &text, qsizetype longest = 500);

/// `address` without the user name and password that may stand in it, for messages and logs.
QString withoutCredentials(const QString &address);
