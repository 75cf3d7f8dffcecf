// Hardening by compiler and linker, checked in the programs of a release.

#include "tests/support/program.h"
#include "tests/support/temporaryfolder.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QRegularExpression>
#include <QStandardPaths>
#include <QTest>

using namespace Qt::StringLiterals;

class HardeningTest : public QObject
{
    Q_OBJECT

private:
    static bool isX86() { return QSysInfo::buildCpuArchitecture() == u"x86_64"_s; }
    static QString readElf(const QString &program);

private slots:
    void initTestCase();
    void everySourceHasTheFlags();
    void programs_data();
    void programs();
    void theEngineChecksItsBuffers();
};

void HardeningTest::initTestCase()
{
    if (!QUIRELLE_IS_HARDENED)
        QSKIP("only releases are hardened");
    if (QStandardPaths::findExecutable(u"readelf"_s).isEmpty())
        QSKIP("no readelf");
}

/// Header, segments, dynamic section and dynamic symbols in words.
QString HardeningTest::readElf(const QString &program)
{
    const ProgramResult result =
        runProgram(u"readelf"_s, {u"--wide"_s, u"-h"_s, u"-l"_s, u"-d"_s, u"--dyn-syms"_s, program});
    return result.ok() ? QString::fromUtf8(result.output) : QString::fromUtf8(result.errors);
}

void HardeningTest::everySourceHasTheFlags()
{
    QByteArrayList flags{"-fstack-protector-strong", "-fstack-clash-protection", "-D_FORTIFY_SOURCE=3"};
    if (isX86())
        flags += "-fcf-protection";
    const QJsonArray commands =
        QJsonDocument::fromJson(contentOf(QStringLiteral(QUIRELLE_BUILD "/compile_commands.json"))).array();
    if (commands.isEmpty())
        QSKIP("the build keeps no commands");
    for (const auto &entry : commands) {
        const QString source = entry.toObject()[u"file"_s].toString();
        const QByteArrayList words = entry.toObject()[u"command"_s].toString().toUtf8().split(' ');
        for (const QByteArray &flag : flags)
            QVERIFY2(words.contains(flag), qPrintable(source + u" lacks "_s + QLatin1String(flag)));
    }
}

void HardeningTest::programs_data()
{
    QTest::addColumn<QString>("program");
    QTest::addColumn<bool>("starts");
    QTest::newRow("window") << QStringLiteral(QUIRELLE_WINDOW) << true;
    QTest::newRow("engine") << QStringLiteral(QUIRELLE_ENGINE) << true;
    QTest::newRow("the engine's module") << QStringLiteral(QUIRELLE_ENGINE_MODULE) << false;
    QTest::newRow("the module for PDFs") << QStringLiteral(QUIRELLE_PDF_MODULE) << false;
    QTest::newRow("the module for hyphens") << QStringLiteral(QUIRELLE_HYPHENATION_MODULE) << false;
}

void HardeningTest::programs()
{
    QFETCH(QString, program);
    QFETCH(bool, starts);
    const QString elf = readElf(program);
    const auto says = [&elf](const QString &pattern) {
        return elf.contains(QRegularExpression(pattern, QRegularExpression::MultilineOption));
    };
    QVERIFY2(says(u"^  Type: +DYN "_s), qPrintable(elf));
    QVERIFY2(!starts || says(u"\\(FLAGS_1\\) .*\\bPIE\\b"_s), "its place in memory can be foreseen");
    QVERIFY2(says(u"^  GNU_STACK .* RW +0x"_s), "its stack can be executed");
    QVERIFY2(says(u"^  GNU_RELRO "_s) && says(u"\\(FLAGS\\) .*\\bBIND_NOW\\b"_s),
             "its table of functions can be written");
    QVERIFY2(!says(u"\\(TEXTREL\\)"_s), "its code is written at the start");
    QVERIFY2(says(u"\\b__stack_chk_fail\\b"_s), "no function looks whether its stack has been overwritten");
    if (isX86()) {
        const qsizetype landingPads = contentOf(program).count("\xf3\x0f\x1e\xfa");
        QVERIFY2(landingPads > 100, QByteArray::number(landingPads).constData());
    }
}

void HardeningTest::theEngineChecksItsBuffers()
{
    // The window calls nothing that could be checked.
    const QRegularExpression checked(u"\\b__(mem(cpy|set|move)|snprintf)_chk\\b"_s);
    for (const QString &program : {QStringLiteral(QUIRELLE_ENGINE), QStringLiteral(QUIRELLE_ENGINE_MODULE)})
        QVERIFY2(readElf(program).contains(checked), qPrintable(program));
}

QTEST_GUILESS_MAIN(HardeningTest)
#include "tst_hardening.moc"
