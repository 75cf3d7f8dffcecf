#include "joblist/address.h"

#include <QTest>

using namespace Qt::StringLiterals;

class tst_Address : public QObject
{
    Q_OBJECT

private slots:
    void onlyTheHostIsTested_data()
    {
        QTest::addColumn<QByteArray>("text");
        QTest::addColumn<bool>("accepted");
        QTest::newRow("a host of letters and dots") << QByteArray("ab.cd") << true;
        QTest::newRow("with the scheme") << QByteArray("http://ab.cd") << true;
        QTest::newRow("unchecked after the host") << QByteArray("http://ab.cd/x-y_z?q=1") << true;
        QTest::newRow("three bytes with a dot") << QByteArray("a.b") << true;
        QTest::newRow("four bytes") << QByteArray("a.bc") << true;
        QTest::newRow("capitals and digits") << QByteArray("WWW.Example9.COM") << true;
        QTest::newRow("only dots") << QByteArray("...") << true;
        QTest::newRow("non-ASCII after the host") << QByteArray("ab.cd/\xe4") << true;
        QTest::newRow("a second scheme after the host") << QByteArray("ab.cd/http://") << true;
        QTest::newRow("empty") << QByteArray("") << false;
        QTest::newRow("only the scheme") << QByteArray("http://") << false;
        QTest::newRow("https") << QByteArray("https://example.com") << false;
        QTest::newRow("https with a path") << QByteArray("https://example.com/a.html") << false;
        QTest::newRow("ftp") << QByteArray("ftp://example.com") << false;
        QTest::newRow("the scheme in capitals") << QByteArray("HTTP://ab.cd") << false;
        QTest::newRow("two-letter host") << QByteArray("http://ab") << false;
        QTest::newRow("two-letter host with a dot") << QByteArray("http://a./x") << false;
        QTest::newRow("two bytes") << QByteArray("a.") << false;
        QTest::newRow("dotless host") << QByteArray("http://localhost/") << false;
        QTest::newRow("long dotless host") << QByteArray(200, 'a') << false;
        QTest::newRow("dot only after the host") << QByteArray("localhost/a.html") << false;
        QTest::newRow("hyphen") << QByteArray("ab-c.de") << false;
        QTest::newRow("underscore") << QByteArray("ab_c.de") << false;
        QTest::newRow("port") << QByteArray("ab.cd:80/") << false;
        QTest::newRow("user") << QByteArray("u@ab.cd") << false;
        QTest::newRow("query right after the host") << QByteArray("ab.cd?q=1") << false;
        QTest::newRow("non-ASCII host") << QByteArray("\xe4.de") << false;
        QTest::newRow("slash first") << QByteArray("/ab.cd") << false;
        QTest::newRow("backslash") << QByteArray("ab.cd\\x") << false;
        QTest::newRow("1023 bytes") << "ab.cd/" + QByteArray(1017, 'x') << true;
        QTest::newRow("1024 bytes") << "ab.cd/" + QByteArray(1018, 'x') << false;
        QTest::newRow("a megabyte") << "ab.cd/" + QByteArray(1000000, 'x') << false;
    }

    void onlyTheHostIsTested()
    {
        QFETCH(QByteArray, text);
        QFETCH(bool, accepted);
        QCOMPARE(isAddress(text), accepted);
    }

    void everyByteOfTheHostMustBeALetterADigitOrADot()
    {
        for (int byte = 1; byte < 256; ++byte) {
            const char character = static_cast<char>(byte);
            const bool allowed = (byte >= 'a' && byte <= 'z') || (byte >= 'A' && byte <= 'Z') ||
                                 (byte >= '0' && byte <= '9') || byte == '.';
            // A slash ends the host, and what is before it here is long enough.
            const QByteArray text = QByteArray("a.b") + character;
            QVERIFY2(isAddress(text) == (allowed || character == '/'), QByteArray::number(byte).constData());
        }
    }

    void wordsAreSplitAtWhiteSpace_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<QStringList>("words");
        QTest::newRow("one") << u"a.bc"_s << QStringList{u"a.bc"_s};
        QTest::newRow("lines") << u"a.bc\nb.cd\n"_s << QStringList{u"a.bc"_s, u"b.cd"_s};
        QTest::newRow("blanks, tabs and carriage returns")
            << u"  a.bc \t b.cd\r\n\n c.de "_s << QStringList{u"a.bc"_s, u"b.cd"_s, u"c.de"_s};
        QTest::newRow("empty") << QString() << QStringList{QString()};
        QTest::newRow("only white space") << u" \n\t "_s << QStringList{QString()};
    }

    void wordsAreSplitAtWhiteSpace()
    {
        QFETCH(QString, text);
        QFETCH(QStringList, words);
        QCOMPARE(splitAddresses(text), words);
    }
};

QTEST_GUILESS_MAIN(tst_Address)
#include "tst_address.moc"
