#pragma once

#include "tests/support/pdffile.h"
#include "tests/support/processes.h"
#include "tests/support/program.h"
#include "tests/support/temporaryfolder.h"

#include <QProcess>

#include <memory>
#include <vector>

/// The outcome of one run of the engine.
struct Conversion {
    ProgramResult run;
    QString output;

    PdfFile pdf() const { return PdfFile(output); }
    /// What keeps this from being a success: an exit code other than 0, words on standard error, or a damaged
    /// PDF. Warnings do not. Empty if nothing does.
    QByteArray flaw() const;
    /// The lines of standard error that are warnings.
    QByteArrayList warnings() const;
    /// What keeps this from being a proper failure with this exit code: another one, or standard error not
    /// being one line that begins with the program's name. Empty if nothing does.
    QByteArray flawAsFailure(int exitCode) const;
};

#define VERIFY_WRITTEN(conversion) VERIFY_FLAWLESS((conversion).flaw())
#define VERIFY_FAILED(conversion, code) VERIFY_FLAWLESS((conversion).flawAsFailure(code))
#define VERIFY_FLAWLESS(verdict)                                                                             \
    do {                                                                                                     \
        const QByteArray flaw = verdict;                                                                     \
        QVERIFY2(flaw.isEmpty(), flaw.constData());                                                          \
    } while (false)

/// One of several conversions at the same time.
struct Task {
    QString input;
    QStringList options;
};

/// The real engine with the real browser and its own folders for everything that it writes: documents and
/// PDFs, temporary files, the log, the server's socket.
class Engine
{
public:
    /// With a warm server only where QUIRELLE_TEST_WARM=1 asks for it.
    Engine();
    Engine(const Engine &) = delete;
    Engine &operator=(const Engine &) = delete;
    /// Ends the servers of its runs.
    ~Engine();

    static QString program();
    /// Whether the tests run with a full Chromium.
    static bool usesFullBrowser() { return qEnvironmentVariable("QUIRELLE_BROWSER").endsWith(u"/chromium"); }

    /// A file among the documents.
    QString write(const QString &name, const QByteArray &content) const
    {
        return m_documents.write(name, content);
    }
    /// A path among the documents.
    QString path(const QString &name) const { return m_documents.path(name); }
    QString documents() const { return m_documents.path(); }
    QString makeFolder(const QString &name) const { return m_documents.makeFolder(name); }
    /// A path that no earlier call gave.
    QString freshOutput();

    /// Converts `input` into a fresh output.
    Conversion convert(const QString &input, const QStringList &options = {});
    /// Converts an HTML text.
    Conversion convertText(const QByteArray &html, const QStringList &options = {});
    /// Converts several inputs at the same time; the results come in the same order.
    std::vector<Conversion> convertAll(const QList<Task> &tasks);
    /// Converts several HTML texts with the same options at the same time.
    std::vector<Conversion> convertTexts(const QByteArrayList &texts, const QStringList &options);
    /// Runs the engine with exactly these arguments, from the documents' folder.
    ProgramResult run(const QStringList &arguments) const;
    /// Starts it and returns at once.
    std::unique_ptr<QProcess> start(const QStringList &arguments) const;

    /// Adds to, or with a null value removes from, the environment of all runs from now on.
    void setVariable(const QString &name, const QString &value);
    const QProcessEnvironment &environment() const { return m_environment; }
    /// The user's folder of all runs.
    QString home() const { return m_folder.path(QStringLiteral("home")); }

    QString logPath() const;
    QStringList logLines() const;
    /// The temporary folder of all runs.
    QString temporaryFolder() const { return m_folder.path(QStringLiteral("tmp")); }
    /// The server's runtime folder, for all runs.
    QString runtimeFolder() const { return m_folder.path(QStringLiteral("run")); }
    /// Lets a server stay for so long after the last of all runs from now on; 0 for none.
    void setIdleSeconds(int seconds);
    /// The servers that runs have started, as far as they run.
    QList<ProcessInfo> servers() const;
    /// Asks the servers to end and waits until they and their browsers have; false if that takes too long.
    bool endServers() const;
    /// What is left of all runs, once their servers have ended: files in the temporary folder, temporary
    /// files beside the documents, processes. A line for each.
    QString leftBehind() const;

private:
    TemporaryFolder m_folder;
    TemporaryFolder m_documents;
    QProcessEnvironment m_environment;
    int m_outputs = 0;
};
