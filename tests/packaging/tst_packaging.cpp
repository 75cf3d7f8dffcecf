#include "conversion/enginecommand.h"
#include "engine/job/papersizes.h"
#include "tests/support/engine.h"

#include <QDir>
#include <QFileInfo>
#include <QImage>
#include <QRegularExpression>
#include <QSettings>
#include <QStandardPaths>
#include <QTest>

#include <unistd.h>

using namespace Qt::StringLiterals;

namespace
{

const QString id = u"example.quirelle.Quirelle"_s;

/// What the words of a text name as options of the engine.
QStringList optionsIn(const QString &text)
{
    static const QRegularExpression option(u"(?<![\\w-])(--[a-z][a-z-]+|-p)(?![\\w-])"_s);
    QStringList found;
    for (const QRegularExpressionMatch &match : option.globalMatch(text))
        found += match.captured(1);
    found.removeDuplicates();
    found.sort();
    return found;
}

QStringList paperNames()
{
    QStringList names;
    for (const PaperSize &paper : paperSizes)
        names += QString::fromUtf8(paper.name.data(), static_cast<qsizetype>(paper.name.size()));
    names.sort();
    return names;
}

QStringList sortedWords(const QByteArray &text)
{
    QStringList words = QString::fromUtf8(text).split(QRegularExpression(u"\\s+"_s), Qt::SkipEmptyParts);
    words.sort();
    return words;
}

/// Runs a program that judges a file; what it complains of, or that it is not there.
QByteArray complaintOf(const QString &program, const QStringList &arguments)
{
    ProgramOptions options;
    // Lines of the manual are as long as the reader's terminal.
    options.environment.insert(u"MANWIDTH"_s, u"80"_s);
    const ProgramResult result = runProgram(program, arguments, options);
    return result.ok() ? result.errors : program.toUtf8() + ": " + result.output + result.errors;
}

bool isThere(const QString &program)
{
    return !QStandardPaths::findExecutable(program).isEmpty();
}

} // namespace

/// A copy of the product, installed as packages have it but in a folder of its own.
class PackagingTest : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();

    void theEngineConverts();
    void theWindowFindsTheEngine();
    void everythingCanBeMoved();
    void theDesktopEntryIsValid();
    void theDesktopEntryLeadsToProgramAndIcon();
    void theIconHasAllSizes_data();
    void theIconHasAllSizes();
    void theMetadataIsValid();
    void manualPagesAreValid_data();
    void manualPagesAreValid();
    void everyOptionIsNamed_data();
    void everyOptionIsNamed();
    void completionsCanBeRead_data();
    void completionsCanBeRead();
    void completionsKnowEveryPaper_data();
    void completionsKnowEveryPaper();
    void versionsAgree();
    void otherSystemsAreToldWhatToInstall();

private:
    QString installed(const QString &path) const { return m_folder.path(u"usr/"_s + path); }
    QString textOf(const QString &path) const;
    QString completion(const QString &shell) const;

    TemporaryFolder m_folder;
    Engine m_engine;
    QString m_help;
};

void PackagingTest::initTestCase()
{
    const ProgramResult result =
        runProgram(QStringLiteral(QUIRELLE_CMAKE),
                   {u"--install"_s, QStringLiteral(QUIRELLE_BUILD), u"--prefix"_s, m_folder.path(u"usr"_s)});
    QVERIFY2(result.ok(), (result.output + result.errors).constData());
    const ProgramResult help = runProgram(installed(u"bin/quirelle"_s), {u"--help"_s});
    QVERIFY2(help.ok(), help.errors.constData());
    m_help = QString::fromUtf8(help.output);
}

/// Of a file as it is read: manual pages as their reader sees them.
QString PackagingTest::textOf(const QString &path) const
{
    if (!path.startsWith(u"share/man/"_s))
        return QString::fromUtf8(contentOf(installed(path)));
    ProgramOptions options;
    options.environment.insert(u"MANWIDTH"_s, u"500"_s);
    options.environment.insert(u"MANPAGER"_s, u"cat"_s);
    return QString::fromUtf8(runProgram(u"man"_s, {u"-l"_s, installed(path)}, options).output);
}

QString PackagingTest::completion(const QString &shell) const
{
    const QHash<QString, QString> files{{u"bash"_s, u"share/bash-completion/completions/quirelle"_s},
                                        {u"zsh"_s, u"share/zsh/vendor-completions/_quirelle"_s},
                                        {u"fish"_s, u"share/fish/vendor_completions.d/quirelle.fish"_s}};
    return files[shell];
}

void PackagingTest::theEngineConverts()
{
    const QString output = m_engine.freshOutput();
    const Conversion conversion{runProgram(installed(u"bin/quirelle"_s),
                                           {QStringLiteral(QUIRELLE_SOURCE "/samples/invoice.html"), output},
                                           {m_engine.environment(), m_engine.documents()}),
                                output};
    VERIFY_WRITTEN(conversion);
    QVERIFY(conversion.pdf().text().contains(u"Invoice"_s));
}

void PackagingTest::theWindowFindsTheEngine()
{
    // The toolkit follows links too when it tells a program where it lies.
    const QFileInfo window(QFileInfo(installed(u"bin/quirelle-window"_s)).canonicalFilePath());
    QVERIFY(window.isExecutable());
    const QString engine = enginePath(window.path());
    QVERIFY2(QFileInfo(engine).isExecutable(), qPrintable(engine));
    QCOMPARE(engine, QFileInfo(installed(u"bin/quirelle"_s)).canonicalFilePath());
}

void PackagingTest::everythingCanBeMoved()
{
    // Only what the build tree is told apart by could lead back there.
    QDir().rename(m_folder.path(u"usr"_s), m_folder.path(u"elsewhere"_s));
    const ProgramResult version = runProgram(m_folder.path(u"elsewhere/bin/quirelle"_s), {u"--version"_s});
    QDir().rename(m_folder.path(u"elsewhere"_s), m_folder.path(u"usr"_s));
    QVERIFY2(version.ok(), version.errors.constData());
    for (const QString &link : {u"bin/quirelle"_s, u"bin/quirelle-window"_s}) {
        const QString path = installed(link);
        QVERIFY(QFileInfo(path).isSymbolicLink());
        QVERIFY(QFileInfo(QFile::symLinkTarget(path)).exists());
        char target[1024] = {};
        QVERIFY(::readlink(QFile::encodeName(path).constData(), target, sizeof target - 1) > 0);
        QVERIFY2(QByteArray(target).startsWith("../"), target);
    }
}

void PackagingTest::theDesktopEntryIsValid()
{
    QCOMPARE(
        complaintOf(u"desktop-file-validate"_s, {installed(u"share/applications/"_s + id + u".desktop"_s)}),
        QByteArray());
}

void PackagingTest::theDesktopEntryLeadsToProgramAndIcon()
{
    QSettings entry(installed(u"share/applications/"_s + id + u".desktop"_s), QSettings::IniFormat);
    entry.beginGroup(u"Desktop Entry"_s);
    // The window takes no files, so nothing is offered to be opened with it.
    QCOMPARE(entry.value(u"Exec"_s).toString(), u"quirelle-window"_s);
    QVERIFY(!entry.contains(u"MimeType"_s));
    QVERIFY(QFileInfo(installed(u"bin/quirelle-window"_s)).isExecutable());
    QCOMPARE(entry.value(u"Icon"_s).toString(), u"quirelle"_s);
    const QByteArray drawing = contentOf(installed(u"share/icons/hicolor/scalable/apps/quirelle.svg"_s));
    QVERIFY(drawing.contains("<svg "));
}

void PackagingTest::theIconHasAllSizes_data()
{
    QTest::addColumn<int>("size");
    for (const int size : {16, 22, 24, 32, 48, 64, 128, 256, 512})
        QTest::addRow("%d", size) << size;
}

void PackagingTest::theIconHasAllSizes()
{
    QFETCH(int, size);
    const QImage icon(installed(u"share/icons/hicolor/%1x%1/apps/quirelle.png"_s.arg(size)));
    QCOMPARE(icon.size(), QSize(size, size));
    // Rounded corners on whatever is behind them.
    QCOMPARE(qAlpha(icon.pixel(0, 0)), 0);
    QCOMPARE(qAlpha(icon.pixel(size / 2, size / 2)), 255);
}

void PackagingTest::theMetadataIsValid()
{
    const QString path = installed(u"share/metainfo/"_s + id + u".metainfo.xml"_s);
    QCOMPARE(complaintOf(u"appstreamcli"_s, {u"validate"_s, u"--no-net"_s, path}), QByteArray());
    const QByteArray text = contentOf(path);
    QVERIFY(text.contains("<id>" + id.toUtf8() + "</id>"));
    QVERIFY(text.contains("<launchable type=\"desktop-id\">" + id.toUtf8() + ".desktop</launchable>"));
}

void PackagingTest::manualPagesAreValid_data()
{
    QTest::addColumn<QString>("page");
    for (const char *page : {"quirelle.1.gz", "quirelle-window.1.gz"})
        QTest::newRow(page) << QString(QLatin1String(page));
}

void PackagingTest::manualPagesAreValid()
{
    QFETCH(QString, page);
    const QString path = installed(u"share/man/man1/"_s + page);
    QVERIFY(QFileInfo::exists(path));
    QCOMPARE(complaintOf(u"man"_s, {u"--warnings"_s, u"-l"_s, u"-Tutf8"_s, u"-Z"_s, path}), QByteArray());
}

void PackagingTest::everyOptionIsNamed_data()
{
    QTest::addColumn<QString>("path");
    QTest::newRow("manual") << u"share/man/man1/quirelle.1.gz"_s;
    for (const char *shell : {"bash", "zsh", "fish"})
        QTest::newRow(shell) << completion(QLatin1String(shell));
}

void PackagingTest::everyOptionIsNamed()
{
    QFETCH(QString, path);
    QString text = textOf(path);
    // fish has a grammar of its own for them.
    static const QRegularExpression fishOption(u"^complete -c quirelle -(l|s) ([a-z-]+)"_s,
                                               QRegularExpression::MultilineOption);
    if (path.endsWith(u".fish"_s)) {
        QStringList found;
        for (const QRegularExpressionMatch &match : fishOption.globalMatch(text))
            found += (match.captured(1) == u'l' ? u"--"_s : u"-"_s) + match.captured(2);
        text = found.join(u' ');
    }
    // Examples name some once more.
    if (path.startsWith(u"share/man/"_s))
        text = text.section(u"\nOPTIONS\n"_s, 1).section(u"\nEXIT STATUS\n"_s, 0, 0);
    QVERIFY(optionsIn(m_help).size() > 15);
    QCOMPARE(optionsIn(text), optionsIn(m_help));
}

void PackagingTest::completionsCanBeRead_data()
{
    QTest::addColumn<QString>("shell");
    for (const char *shell : {"bash", "zsh", "fish"})
        QTest::newRow(shell) << QString(QLatin1String(shell));
}

void PackagingTest::completionsCanBeRead()
{
    QFETCH(QString, shell);
    if (!isThere(shell))
        QSKIP("this shell is not here");
    QVERIFY(QFileInfo::exists(installed(completion(shell))));
    QCOMPARE(complaintOf(shell, {u"-n"_s, installed(completion(shell))}), QByteArray());
}

void PackagingTest::completionsKnowEveryPaper_data()
{
    QTest::addColumn<QString>("shell");
    // Prints what completes the words that it is given.
    QTest::addColumn<QString>("script");
    QTest::newRow("bash") << u"bash"_s
                          << u"source %1; COMP_WORDS=(quirelle --page-size ''); COMP_CWORD=2; _quirelle; "
                             "echo ${COMPREPLY[*]}"_s;
    QTest::newRow("fish") << u"fish"_s
                          << u"source %1; complete -C 'quirelle --page-size ' | string split -f 1 \\t"_s;
}

void PackagingTest::completionsKnowEveryPaper()
{
    QFETCH(QString, shell);
    QFETCH(QString, script);
    if (!isThere(shell))
        QSKIP("this shell is not here");
    const ProgramResult result =
        runProgram(shell, {u"-c"_s, script.arg(installed(completion(shell)))}, {m_engine.environment(), {}});
    QCOMPARE(result.errors, QByteArray());
    QCOMPARE(sortedWords(result.output), paperNames());
}

void PackagingTest::versionsAgree()
{
    const QByteArray version = QUIRELLE_VERSION;
    QCOMPARE(runProgram(installed(u"bin/quirelle"_s), {u"--version"_s}).output, "quirelle " + version + '\n');
    const QByteArray changes = contentOf(QStringLiteral(QUIRELLE_SOURCE "/packaging/debian/changelog"));
    QVERIFY2(changes.startsWith("quirelle (" + version + ") "), changes.constData());
    const QByteArray metadata = contentOf(installed(u"share/metainfo/"_s + id + u".metainfo.xml"_s));
    QVERIFY(metadata.contains("<release version=\"" + version + "\""));
    QVERIFY(textOf(u"share/man/man1/quirelle.1.gz"_s).contains(u"Quirelle " QUIRELLE_VERSION));
    const QByteArray news = contentOf(QStringLiteral(QUIRELLE_SOURCE "/CHANGELOG.md"));
    QVERIFY(news.contains("\n## " + version));
}

void PackagingTest::otherSystemsAreToldWhatToInstall()
{
    // No dpkg-query is on this path.
    m_folder.makeFolder(u"tools"_s);
    for (const QString &tool : {u"dirname"_s, u"sed"_s})
        QVERIFY(QFile::link(QStandardPaths::findExecutable(tool), m_folder.path(u"tools/"_s + tool)));
    ProgramOptions options;
    options.environment.insert(u"PATH"_s, m_folder.path(u"tools"_s));
    const ProgramResult result = runProgram(QStringLiteral(QUIRELLE_SOURCE "/packaging/install-missing"),
                                            {u"build"_s, u"run"_s}, options);
    QVERIFY2(result.ok(), (result.output + result.errors).constData());
    QVERIFY2(result.output.contains(" chromium-headless-shell "), result.output.constData());
    QVERIFY2(result.output.contains("dnf install cmake "), result.output.constData());
    QVERIFY2(!result.output.contains(" xvfb "), result.output.constData());
}

QTEST_GUILESS_MAIN(PackagingTest)
#include "tst_packaging.moc"
