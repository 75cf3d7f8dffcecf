// The texts made of the table of options: of the engine's own, and of one with every kind of option.

#include "packaging/texts/texts.h"
#include "tests/support/program.h"
#include "tests/support/temporaryfolder.h"

#include <QStandardPaths>
#include <QTest>

#include <algorithm>
#include <stdexcept>

using namespace Qt::StringLiterals;

namespace
{

QStringList mediaNames()
{
    return {u"screen"_s, u"print"_s};
}

constexpr Option everyKind[] = {
    {
        .group = OptionGroup::Page,
        .name = "--flag",
        .help = "don't [ever]: colour:fast (no)",
        .details = "Doesn't. `-x|y` is \\ of it; see [there](a.md#b).",
        .example = "--flag a b",
    },
    {
        .group = OptionGroup::Page,
        .name = "--media",
        .value = "NAME",
        .help = "style sheets for $HOME or \\n: screen or print",
        .details = ".A line that begins with a dot. The NAME is not a NAMESPACE.",
        .example = "--media print a b",
        .choices = mediaNames,
    },
    {
        .group = OptionGroup::Network,
        .name = "--stylesheet",
        .value = "FILE",
        .help = "apply FILE",
        .details = "Applies FILE.",
        .example = "--stylesheet a.css a b",
        .isFile = true,
        .isRepeatable = true,
    },
    {
        .group = OptionGroup::Network,
        .name = "-m",
        .value = "LENGTHS",
        .help = "margins",
        .details = "The margins.",
        .example = "-m -1mm a b",
        .variable = "MARGINS",
    },
    {
        .group = OptionGroup::Program,
        .name = "--help",
        .help = "print this",
        .details = "Prints this.",
        .example = "--help",
        .answer = Answer::Help,
    },
};

} // namespace

class TextsTest : public QObject
{
    Q_OBJECT

private slots:
    void theEnginePageIsUpToDate();
    void optionsStandBetweenTheirMarkers();
    void markdownHasARowForEachOption();
    void theManualPageIsFormatted();
    void shellsComplete_data();
    void shellsComplete();

private:
    TemporaryFolder m_folder;
};

void TextsTest::theEnginePageIsUpToDate()
{
    const QString page = QString::fromUtf8(contentOf(QStringLiteral(QUIRELLE_SOURCE "/docs/engine.md")));
    QVERIFY2(withOptions(page, markdownOptions(allOptions())) == page,
             "docs/engine.md is stale; refresh it: cmake --build --preset release --target docs_options");
}

void TextsTest::optionsStandBetweenTheirMarkers()
{
    QCOMPARE(withOptions(u"a\n; BEGIN OPTIONS\nold\nold\n; END OPTIONS\nb\n"_s, u"new\n"_s),
             u"a\n; BEGIN OPTIONS\nnew\n; END OPTIONS\nb\n"_s);
    QCOMPARE(withOptions(u"BEGIN OPTIONS\nEND OPTIONS"_s, u"new\n"_s), u"BEGIN OPTIONS\nnew\nEND OPTIONS"_s);
    for (const QString &text : {u""_s, u"BEGIN OPTIONS\n"_s, u"END OPTIONS\nBEGIN OPTIONS\n"_s})
        QVERIFY_THROWS_EXCEPTION(std::runtime_error, withOptions(text, u"new\n"_s));
}

void TextsTest::markdownHasARowForEachOption()
{
    const QString text = markdownOptions(everyKind);
    QVERIFY(text.contains(
        u"| `--flag` | `quirelle --flag a b` | Doesn't. `-x\\|y` is \\ of it; see [there](a.md#b). |\n"_s));
    QVERIFY(text.contains(
        u"| `--stylesheet FILE` | `quirelle --stylesheet a.css a b` | Applies FILE. May be given "
        "more than once. |\n"_s));
    QCOMPARE(text.count(u"### "_s), 3);
    QCOMPARE(text.count(u"| `-"_s), 5);
}

void TextsTest::theManualPageIsFormatted()
{
    const QString page =
        m_folder.write(u"page.1"_s, ".TH PAGE 1\n.SH OPTIONS\n" + manualOptions(everyKind).toUtf8());
    ProgramOptions options;
    options.environment.insert(u"MANWIDTH"_s, u"200"_s);
    options.environment.insert(u"MANPAGER"_s, u"cat"_s);
    const ProgramResult result = runProgram(u"man"_s, {u"--warnings"_s, u"-l"_s, page}, options);
    QCOMPARE(result.errors, QByteArray());
    const QString text = QString::fromUtf8(result.output);
    for (const QString &line : {u"--flag Doesn't. -x|y is \\ of it; see there."_s,
                                u".A line that begins with a dot. The NAME is not a NAMESPACE."_s,
                                u"The margins. Default: the environment variable MARGINS."_s,
                                u"--stylesheet FILE"_s, u"May be given more than once."_s, u"-m LENGTHS"_s})
        QVERIFY2(text.simplified().contains(line), qPrintable(text));
}

void TextsTest::shellsComplete_data()
{
    QTest::addColumn<QString>("shell");
    // Prints what completes the line %2, whose completion is the file %1.
    QTest::addColumn<QString>("script");
    QTest::addColumn<QString>("line");
    QTest::addColumn<QByteArrayList>("expected");

    const auto rows = [](const QString &shell, const QString &script, const QByteArrayList &options,
                         const QByteArrayList &media) {
        const auto row = [&](const QString &line, const QByteArrayList &expected) {
            QTest::addRow("%s: %s", qPrintable(shell), qPrintable(line))
                << shell << script << line << expected;
        };
        row(u"-"_s, options);
        row(u"--media "_s, media);
        row(u"--media p"_s, {media[0]});
        row(u"--stylesheet sty"_s, {"style.css"});
        row(u"-m "_s, {});
        row(u"--flag page"_s, {"page.html"});
    };
    rows(u"bash"_s,
         u"compopt() { :; }; source '%1'; line='quirelle %2'; read -ra COMP_WORDS <<<\"$line\"; "
         "[[ $line == *' ' ]] && COMP_WORDS+=(''); COMP_CWORD=$((${#COMP_WORDS[@]} - 1)); _quirelle; "
         "printf '%s\\n' \"${COMPREPLY[@]}\""_s,
         {"--flag", "--help", "--media", "--stylesheet", "-m"}, {"print", "screen"});
    rows(u"fish"_s, u"source '%1'; complete -C 'quirelle %2'"_s,
         {"--flag\tdon't [ever]", "--help\tprint this", "--media\tstyle sheets for $HOME or \\n",
          "--stylesheet\tapply FILE", "-m\tmargins"},
         {"print\tstyle sheets for $HOME or \\n", "screen\tstyle sheets for $HOME or \\n"});
    // This one completes at a terminal only: what it is told.
    QTest::newRow("zsh") << u"zsh"_s << u"_arguments() { print -rl -- \"$@\" }; source '%1'; : %2"_s
                         << QString()
                         << QByteArrayList{
                                "(* -)--help[print this]",
                                "*--stylesheet[apply FILE]:FILE:_files",
                                "*:HTML file, web address or PDF to write:_files -g "
                                "\"*.(html|htm|xhtml|svg|pdf)(-.)\"",
                                "--flag[don't \\[ever\\]]",
                                "--media[style sheets for $HOME or \\\\n]:NAME:(screen print)",
                                "-m[margins]:LENGTHS: ",
                                "1:HTML file or web address:_files -g \"*.(html|htm|xhtml|svg)(-.)\""};
}

void TextsTest::shellsComplete()
{
    QFETCH(QString, shell);
    QFETCH(QString, script);
    QFETCH(QString, line);
    QFETCH(QByteArrayList, expected);
    if (QStandardPaths::findExecutable(shell).isEmpty())
        QSKIP("this shell is not here");
    const QString text = shell == u"bash"_s   ? bashCompletion(everyKind)
                         : shell == u"fish"_s ? fishCompletion(everyKind)
                                              : zshCompletion(everyKind);
    const QString completion = m_folder.write(u"completion/"_s + shell, text.toUtf8());
    ProgramOptions options;
    options.folder = m_folder.makeFolder(u"documents"_s);
    m_folder.write(u"documents/style.css"_s, {});
    m_folder.write(u"documents/page.html"_s, {});
    options.environment.insert(u"HOME"_s, m_folder.path());
    const ProgramResult result = runProgram(shell, {u"-c"_s, script.arg(completion, line)}, options);
    QCOMPARE(result.errors, QByteArray());
    QByteArrayList found = result.output.split('\n');
    found.removeAll("");
    std::sort(found.begin(), found.end());
    QCOMPARE(found, expected);
}

QTEST_GUILESS_MAIN(TextsTest)
#include "tst_texts.moc"
