#include "conversion/enginecommand.h"
#include "conversion/fontfolder.h"
#include "conversion/outputname.h"
#include "conversion/sizetext.h"
#include "joblist/filesize.h"

#include <QDir>
#include <QProcess>
#include <QRandomGenerator>
#include <QTemporaryDir>
#include <QTest>

using namespace Qt::StringLiterals;

class tst_JobTexts : public QObject
{
    Q_OBJECT

private slots:
    void outputNameFollowsTheSource_data()
    {
        QTest::addColumn<QString>("source");
        QTest::addColumn<QString>("input");
        QTest::addColumn<QString>("name");
        const QString file = u"Local File"_s;
        QTest::newRow("file") << file << u"/Users/a/page.html"_s << u"page"_s;
        QTest::newRow("file with blanks and dots")
            << file << u"/Users/a/My Page.old.html"_s << u"My Page.old"_s;
        QTest::newRow("file without a dot") << file << u"/Users/a/README"_s << u"README"_s;
        QTest::newRow("dot only in the folder") << file << u"/Users/a.b/README"_s << u"README"_s;
        QTest::newRow("dot file") << file << u"/Users/a/.html"_s << QString();
        QTest::newRow("file with a final dot") << file << u"/a/page."_s << u"page"_s;
        QTest::newRow("folder with a slash") << file << u"/a/b/"_s << QString();
        QTest::newRow("no slash") << file << u"page.html"_s << u"page"_s;
        QTest::newRow("percent signs in a file") << file << u"/a/100%1.html"_s << u"100%1"_s;
        QTest::newRow("backslash is no separator") << file << u"/a/b\\c.html"_s << u"b\\c"_s;

        const QString address = u"Online File"_s;
        QTest::newRow("address") << address << u"http://docs.example.com/a/index.html"_s
                                 << u"docs.example.comaindex.html"_s;
        QTest::newRow("hyphen and query")
            << address << u"http://docs.example.com/a-b?x=1"_s << u"docs.example.comabx1"_s;
        QTest::newRow("https") << address << u"https://example.com"_s << u"sexample.com"_s;
        QTest::newRow("http within") << address << u"http://a.bc/whyhttpworks"_s << u"a.bcwhyworks"_s;
        QTest::newRow("http pieced together") << address << u"a.bc/h-t+t*p"_s << u"a.bc"_s;
        QTest::newRow("http left by http") << address << u"a.bc/hthttptp"_s << u"a.bchttp"_s;
        QTest::newRow("htp") << address << u"a.bc/xhtpy"_s << u"a.bcxy"_s;
        QTest::newRow("capitals stay") << address << u"a.bc/HTTP"_s << u"a.bcHTTP"_s;
        QTest::newRow("every unwanted character") << address << u"a.bc/+-*/%?:!@#$^&()=z"_s << u"a.bcz"_s;
        QTest::newRow("every other character")
            << address << u"a.bc/_,;~'[]{}|\"<> z"_s << u"a.bc_,;~'[]{}|\"<> z"_s;
        QTest::newRow("no source") << QString() << u"/a/b.html"_s << QString();
        QTest::newRow("another source") << u"local file"_s << u"/a/b.html"_s << QString();
    }

    void outputNameFollowsTheSource()
    {
        QFETCH(QString, source);
        QFETCH(QString, input);
        QFETCH(QString, name);
        QCOMPARE(outputName(input, source), name);
    }

    void sizeIsInThousandsOfBytesRightAligned_data()
    {
        QTest::addColumn<qint64>("bytes");
        QTest::addColumn<QString>("text");
        QTest::newRow("one") << qint64(1) << u"         0.001Kb"_s;
        QTest::newRow("1024") << qint64(1024) << u"         1.024Kb"_s;
        QTest::newRow("2500") << qint64(2500) << u"         2.500Kb"_s;
        QTest::newRow("a megabyte") << qint64(2000000) << u"      2000.000Kb"_s;
        QTest::newRow("beyond 32 bits") << qint64(5000000000) << u"   5000000.000Kb"_s;
        QTest::newRow("wider than the field") << qint64(123456789012345) << u"123456789012.345Kb"_s;
    }

    void sizeIsInThousandsOfBytesRightAligned()
    {
        QFETCH(qint64, bytes);
        QFETCH(QString, text);
        QCOMPARE(sizeText(bytes), text);
    }

    void theEngineLiesInTheBundleOfTheWindow()
    {
        const QTemporaryDir folder;
        QVERIFY(QDir(folder.path()).mkpath(u"App.app/Contents/MacOS"_s));
        QCOMPARE(enginePath(folder.filePath(u"App.app/Contents/MacOS"_s)),
                 folder.filePath(u"App.app/quirelle/Contents/MacOS/quirelle"_s));
    }

    void theCommandQuotesEngineInputAndOutput()
    {
        const QString command =
            engineCommand(u"/A B/e"_s, u"\"--copies\" \"1\"  "_s, u"/in put.html"_s, u"/o/out.pdf"_s);
        QCOMPARE(command, u"\"/A B/e\" \"--copies\" \"1\"   \"/in put.html\" \"/o/out.pdf\""_s);
        const QStringList arguments{u"/A B/e"_s, u"--copies"_s, u"1"_s, u"/in put.html"_s, u"/o/out.pdf"_s};
        QCOMPARE(QProcess::splitCommand(command), arguments);
    }

    void doubleQuotesInNamesStayInTheirArguments_data()
    {
        QTest::addColumn<QString>("name");
        QTest::newRow("options and another output") << u"x.html\" \"../.precious\" \"--title"_s;
        QTest::newRow("one") << u"\""_s;
        QTest::newRow("two") << u"\"\""_s;
        QTest::newRow("three") << u"\"\"\""_s;
        QTest::newRow("at both ends") << u"\"a b\""_s;
        QTest::newRow("a run within") << u"a\"\"\"\" b"_s;
        QTest::newRow("behind backslashes") << u"a\\\" \\\\\"b"_s;
        QTest::newRow("lines") << u"a\n\"\r\n\"--title\"\n"_s;
        QTest::newRow("only an option") << u"\"--log\""_s;
        QTest::newRow("begins like an option") << u"--title\" \"x"_s;
        QTest::newRow("ends with a backslash") << u"a\"\\"_s;
        QTest::newRow("other quotes") << u"'a' `b` \u201cc\u201d \uff02d\uff02 \""_s;
        QTest::newRow("a shell's signs") << u"\"; $(rm -rf ~) & | > x \""_s;
        QTest::newRow("an end within") << QStringLiteral("a\"%1\"b").arg(QChar(1));
        QTest::newRow("only blanks between quotes") << u"\" \" \""_s;
        QTest::newRow("around blanks") << u" \" \t\n\" "_s;
    }

    void doubleQuotesInNamesStayInTheirArguments()
    {
        QFETCH(QString, name);
        const QString options = u"\"--copies\" \"1\"  "_s;
        QCOMPARE(QProcess::splitCommand(engineCommand(name, options, name, name)),
                 (QStringList{name, u"--copies"_s, u"1"_s, name, name}));
    }

    /// A double quote in a name is like any other letter, also where a percent sign draws one piece into
    /// another.
    void aDoubleQuoteIsALetterLikeAnyOther()
    {
        const QString pieces[] = {u"\""_s, u"\"\""_s, u" "_s,  u"\\"_s, u"%"_s, u"%1"_s,
                                  u"%2"_s, u"%3"_s,   u"%4"_s, u"9"_s,  u"L"_s, u"a"_s};
        QRandomGenerator random(1);
        const auto name = [&] {
            QString text;
            for (int count = random.bounded(1, 9); count > 0; --count)
                text += pieces[random.bounded(quint32(std::size(pieces)))];
            return text;
        };
        const QString options = u"\"--copies\" \"1\"  "_s;
        const QChar letter(0xe000);
        for (int time = 0; time < 20000; ++time) {
            const QString input = name();
            const QString output = name();
            QStringList wanted =
                QProcess::splitCommand(engineCommand(u"/e"_s, options, QString(input).replace(u'"', letter),
                                                     QString(output).replace(u'"', letter)));
            wanted.replaceInStrings(QString(letter), u"\""_s);
            QCOMPARE(QProcess::splitCommand(engineCommand(u"/e"_s, options, input, output)), wanted);
        }
    }

    void aPercentSignInTheInputTakesPartInTheFilling_data()
    {
        QTest::addColumn<QString>("input");
        QTest::addColumn<QString>("command");
        QTest::newRow("%3") << u"a.bc/%3Ax"_s << u"\"e\" o \"a.bc/OUTAx\" \"%4\""_s;
        QTest::newRow("%4") << u"a.bc/%4"_s << u"\"e\" o \"a.bc/OUT\" \"OUT\""_s;
        QTest::newRow("%20") << u"a.bc/%20"_s << u"\"e\" o \"a.bc/%20\" \"OUT\""_s;
        QTest::newRow("%E4") << u"a.bc/%E4"_s << u"\"e\" o \"a.bc/%E4\" \"OUT\""_s;
    }

    void aPercentSignInTheInputTakesPartInTheFilling()
    {
        QFETCH(QString, input);
        QFETCH(QString, command);
        QCOMPARE(engineCommand(u"e"_s, u"o"_s, input, u"OUT"_s), command);
    }

    void theFontFolderLiesBesideTheBundle_data()
    {
        QTest::addColumn<QString>("folder");
        QTest::addColumn<QByteArray>("setting");
        QTest::newRow("bundle") << u"/Applications/Tools/App.app/Contents/MacOS"_s
                                << QByteArray("PCLFONTSOURCE=/Applications/Tools/fonts/");
        QTest::newRow("bundle at the root")
            << u"/App.app/Contents/MacOS"_s << QByteArray("PCLFONTSOURCE=/fonts/");
        QTest::newRow("no dot") << u"/opt/tool/bin"_s << QByteArray("PCLFONTSOURCE=/opt/tool/fonts/");
        QTest::newRow("neither dot nor slash") << u"tool"_s << QByteArray("PCLFONTSOURCE=tool/fonts/");
        QTest::newRow("backslashes") << u"C:\\Tools\\/App.app"_s
                                     << QByteArray("PCLFONTSOURCE=C:/Tools/fonts/");
        QTest::newRow("Latin-1") << u"/\u00e4/App.app/x"_s << QByteArray("PCLFONTSOURCE=/\xe4/fonts/");
    }

    void theFontFolderLiesBesideTheBundle()
    {
        QFETCH(QString, folder);
        QFETCH(QByteArray, setting);
        QCOMPARE(fontFolderSetting(folder), setting);
    }

    void aDropHasContentByTheLow32BitsOfItsSize_data()
    {
        QTest::addColumn<qint64>("size");
        QTest::addColumn<bool>("content");
        QTest::newRow("empty") << qint64(0) << false;
        QTest::newRow("one byte") << qint64(1) << true;
        QTest::newRow("2 GiB less one") << qint64(0x7fffffff) << true;
        QTest::newRow("2 GiB") << qint64(0x80000000) << false;
        QTest::newRow("4 GiB") << qint64(0x100000000) << false;
        QTest::newRow("4 GiB and one byte") << qint64(0x100000001) << true;
    }

    void aDropHasContentByTheLow32BitsOfItsSize()
    {
        QFETCH(qint64, size);
        QFETCH(bool, content);
        const QTemporaryDir folder;
        QFile file(folder.filePath(u"sparse"_s));
        QVERIFY(file.open(QIODevice::WriteOnly));
        if (!file.resize(size))
            QSKIP("no files of this size here");
        file.close();
        QCOMPARE(fileSize(file.fileName()), size);
        QCOMPARE(dropHasContent(file.fileName()), content);
    }

    void aFolderAndAMissingFileHaveNoSize()
    {
        const QTemporaryDir folder;
        QCOMPARE(fileSize(folder.path()), 0);
        QCOMPARE(fileSize(folder.filePath(u"missing"_s)), 0);
        QVERIFY(!dropHasContent(folder.path()));
    }
};

QTEST_GUILESS_MAIN(tst_JobTexts)
#include "tst_jobtexts.moc"
