#include "tests/support/engine.h"
#include "tests/support/pictures.h"

#include <QDir>
#include <QRegularExpression>
#include <QTest>

using namespace Qt::StringLiterals;

namespace
{

/// The text of this page of the documentation under the heading; all of it without one.
QString documentation(const QString &name, const QString &heading = {})
{
    const QString text = QString::fromUtf8(contentOf(QLatin1String(QUIRELLE_DOCS "/") + name));
    return heading.isEmpty() ? text : text.section(u"\n## "_s + heading + u'\n', 1).section(u"\n## "_s, 0, 0);
}

/// The lines of its blocks of shell commands.
QStringList commandsIn(const QString &text)
{
    static const QRegularExpression block(u"```sh\n(.*?)```"_s,
                                          QRegularExpression::DotMatchesEverythingOption);
    QStringList commands;
    for (auto match = block.globalMatch(text); match.hasNext();)
        commands += match.next().captured(1).split(u'\n', Qt::SkipEmptyParts);
    commands.removeIf(
        [](const QString &line) { return line.startsWith(u'#') || line.contains(u"https://"_s); });
    return commands;
}

} // namespace

/// The commands of the documentation, in the folder of the recipes.
class RecipesTest : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void everyRecipeWorks_data();
    void everyRecipeWorks();
    void recipesDoWhatTheySay_data();
    void recipesDoWhatTheySay();
    void theDraftIsMarkedOnEveryPage();
    void everyFileHasARecipe();
    void qpdfKeepsTagsAndBookmarks();
    void cleanupTestCase();

private:
    ProgramResult inShell(const QString &command) const;

    Engine m_engine;
};

void RecipesTest::initTestCase()
{
    const QDir recipes(QStringLiteral(QUIRELLE_SAMPLES "/recipes"));
    for (const QString &name : recipes.entryList(QDir::Files))
        m_engine.write(name, contentOf(recipes.filePath(name)));
    m_engine.write(u"data.csv"_s, "a,b\n1,2\n");
}

ProgramResult RecipesTest::inShell(const QString &command) const
{
    ProgramOptions options;
    options.environment = m_engine.environment();
    options.folder = m_engine.documents();
    return runProgram(
        u"sh"_s, {u"-ec"_s, u"quirelle() { '%1' \"$@\"; }; %2"_s.arg(Engine::program(), command)}, options);
}

void RecipesTest::everyRecipeWorks_data()
{
    QTest::addColumn<QString>("command");
    for (const QString &command : commandsIn(documentation(u"recipes.md"_s)).filter(u"website.html"_s))
        QTest::newRow(qPrintable(command)) << command;
}

void RecipesTest::everyRecipeWorks()
{
    QFETCH(QString, command);
    const ProgramResult run = inShell(command);
    QVERIFY2(run.ok() && run.errors.isEmpty(), run.errors.constData());
    const PdfFile pdf(m_engine.path(command.section(u' ', -1)));
    QVERIFY2(pdf.complaint().isEmpty(), qPrintable(pdf.complaint()));
    QVERIFY(pdf.text().contains(u"A pond is the smallest lake"_s) || command.contains(u"--pages"_s));
}

void RecipesTest::recipesDoWhatTheySay_data()
{
    QTest::addColumn<QString>("options");
    QTest::addColumn<int>("page");
    QTest::addColumn<QString>("with");
    QTest::addColumn<QString>("without");
    const auto row = [](const char *options, int page, const char *with, const char *without) {
        QTest::addRow("%s, page %d", options, page)
            << QString(QLatin1String(options)) << page << QString(QLatin1String(with))
            << QString(QLatin1String(without));
    };
    row("--stylesheet clean.css", 1, "(https://water.example.org/hardness)", "Newsletter");
    row("--stylesheet clean.css", 2, "question whether the pond", "cookies");
    row("--stylesheet heads.css", 1, "Page 1", "Page 2");
    row("--stylesheet heads.css", 2, "Garden Society, 12 Lake Road", "Page 1");
    row("--stylesheet page-numbers.css", 2, "2 of 2", "1 of 2");
    row("--stylesheet first-page.css", 1, "Pondville", "2 Winter");
    row("--stylesheet first-page.css", 2, " 2", "Pondville");
    row("--stylesheet chapters.css", 3, "Plants that grow under water", "Rain is better");
    row("--script open.js", 1, "Take the sample", "cookies");
}

void RecipesTest::recipesDoWhatTheySay()
{
    QFETCH(QString, options);
    QFETCH(int, page);
    QFETCH(QString, with);
    QFETCH(QString, without);
    const ProgramResult run = inShell(u"quirelle %1 website.html said.pdf"_s.arg(options));
    QVERIFY2(run.ok(), run.errors.constData());
    const QString text = PdfFile(m_engine.path(u"said.pdf"_s)).text(page);
    QVERIFY2(text.contains(with), qPrintable(text));
    QVERIFY2(!text.contains(without), qPrintable(text));
}

void RecipesTest::theDraftIsMarkedOnEveryPage()
{
    QVERIFY(inShell(u"quirelle --stylesheet draft.css website.html draft.pdf"_s).ok());
    const PdfFile pdf(m_engine.path(u"draft.pdf"_s));
    for (int page = 1; page <= pdf.pages(); ++page)
        QVERIFY(shows(QColor(0xe4, 0xe4, 0xe4), pdf.picture(page)));
}

void RecipesTest::everyFileHasARecipe()
{
    const QString told = documentation(u"recipes.md"_s) + documentation(u"engine.md"_s);
    for (const QString &name : QDir(QStringLiteral(QUIRELLE_SAMPLES "/recipes")).entryList(QDir::Files))
        QVERIFY2(told.contains(name), qPrintable(name));
}

void RecipesTest::qpdfKeepsTagsAndBookmarks()
{
    const QStringList commands = commandsIn(documentation(u"engine.md"_s, u"What qpdf does afterwards"_s));
    QVERIFY(commands.size() >= 7);
    const ProgramResult run = inShell(commands.join(u'\n'));
    QVERIFY2(run.ok(), run.errors.constData());
    const PdfFile page(m_engine.path(u"page.pdf"_s));
    QVERIFY(!page.structure().isEmpty() && !page.outline().isEmpty());
    for (const char *name : {"encrypted", "attached", "linearized", "stamped"}) {
        const PdfFile pdf(m_engine.path(QLatin1String(name) + u".pdf"_s));
        QVERIFY2(pdf.complaint().isEmpty(), qPrintable(pdf.complaint()));
        QCOMPARE(pdf.outline(), page.outline());
        QCOMPARE(pdf.links(), page.links());
        QCOMPARE(pdf.info()["Tagged"], u"yes"_s);
        QCOMPARE(pdf.info()["Title"], page.info()["Title"]);
        static const QRegularExpression numbers(u"Object [0-9]+"_s);
        QCOMPARE(pdf.structure().remove(numbers), page.structure().remove(numbers));
    }
    QVERIFY(PdfFile(m_engine.path(u"encrypted.pdf"_s)).info()["Encrypted"].startsWith(u"yes"_s));
    QVERIFY(PdfFile(m_engine.path(u"linearized.pdf"_s)).info()["Optimized"] == u"yes"_s);
    QVERIFY(PdfFile(m_engine.path(u"stamped.pdf"_s)).text(2).contains(u"COPY"_s));
    const ProgramResult list =
        runProgram(u"qpdf"_s, {u"--list-attachments"_s, m_engine.path(u"attached.pdf"_s)});
    QVERIFY2(list.output.startsWith("data.csv"), list.output.constData());
}

void RecipesTest::cleanupTestCase()
{
    QCOMPARE(m_engine.leftBehind(), QString());
}

QTEST_GUILESS_MAIN(RecipesTest)
#include "tst_recipes.moc"
