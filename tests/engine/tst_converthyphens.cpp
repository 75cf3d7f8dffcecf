#include "tests/support/engine.h"

#include <QRegularExpression>
#include <QTest>

#include <optional>

using namespace Qt::StringLiterals;

/// `hyphens: auto` with dictionaries of the system and of the test's own.
class ConvertHyphensTest : public QObject
{
    Q_OBJECT

private slots:
    void init() { m_engine.emplace(); }
    void wordsBreakAsTheSystemsDictionariesSay_data();
    void wordsBreakAsTheSystemsDictionariesSay();
    void justifiedColumns();
    void rulesOfDictionaries_data();
    void rulesOfDictionaries();
    void pagesThatAreNotHyphenated_data();
    void pagesThatAreNotHyphenated();
    void dictionariesThatAreOfNoUse_data();
    void dictionariesThatAreOfNoUse();
    void aPathThatTheLoaderCannotRead();
    void nothingIsLeft();

private:
    /// The dictionaries of all runs from now on.
    void useDictionary(const QString &name, const QByteArray &content)
    {
        m_engine->makeFolder(u"dictionaries"_s);
        m_engine->write(u"dictionaries/"_s + name, content);
        m_engine->setVariable(u"QUIRELLE_HYPHENATION"_s, m_engine->path(u"dictionaries"_s));
    }
    /// The text of a paragraph that breaks wherever it may, with hyphens instead of breaks. After a break the
    /// browser takes the rest of a word for a word.
    QString brokenText(const QString &attributes, const QString &text, const QString &style = {})
    {
        const QString html = u"<!DOCTYPE html><meta charset=utf-8><p style='width:1px;hyphens:auto;"_s +
                             style + u"' "_s + attributes + u'>' + text;
        const Conversion conversion = m_engine->convertText(html.toUtf8());
        if (!conversion.flaw().isEmpty())
            return QString::fromUtf8(conversion.flaw());
        QString found = conversion.pdf().text();
        found.replace(QRegularExpression(u"\u2010\\s+"_s), u"-"_s);
        return found.simplified();
    }

    std::optional<Engine> m_engine;
};

void ConvertHyphensTest::wordsBreakAsTheSystemsDictionariesSay_data()
{
    QTest::addColumn<QString>("attributes");
    QTest::addColumn<QString>("text");
    QTest::addColumn<QString>("broken");
    QTest::newRow("American English") << u"lang=en"_s << u"internationalization of algorithms"_s
                                      << u"in-ter-na-tion-al-iza-tion of al-gorithms"_s;
    QTest::newRow("German") << u"lang=de"_s << u"Silbentrennung Übersetzung Straßenbahn"_s
                            << u"Sil-ben-tren-nung Über-set-zung Stra-ßen-bahn"_s;
    QTest::newRow("Swiss German") << u"lang=de-CH"_s << u"Silbentrennung"_s << u"Sil-ben-tren-nung"_s;
    QTest::newRow("French") << u"lang=fr"_s << u"développement l’internationalisation"_s
                            << u"dé-ve-lop-pe-ment l’in-ter-na-tio-na-li-sa-tion"_s;
    QTest::newRow("Russian") << u"lang=ru"_s << u"Интернационализация"_s << u"Ин-тер-на-ци-она-ли-за-ция"_s;
}

void ConvertHyphensTest::wordsBreakAsTheSystemsDictionariesSay()
{
    QFETCH(QString, attributes);
    QFETCH(QString, text);
    QTEST(brokenText(attributes, text), "broken");
}

void ConvertHyphensTest::justifiedColumns()
{
    const QByteArray text =
        "<p lang=de>Die Donaudampfschifffahrtsgesellschaft veröffentlichte Übersetzungen wissenschaftlicher "
        "Veröffentlichungen<p>internationalization of hyphenation algorithms";
    const Conversion conversion =
        m_engine->convertText("<!DOCTYPE html><meta charset=utf-8><style>p{width:30mm;hyphens:auto;"
                              "text-align:justify;font:12pt serif}</style>" +
                              text);
    VERIFY_WRITTEN(conversion);
    const QString found = conversion.pdf().text();
    QVERIFY2(found.count(u'\u2010') >= 3, qPrintable(found));
    QVERIFY2(found.contains(u"internationalization"_s), qPrintable(found));
}

void ConvertHyphensTest::rulesOfDictionaries_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<QByteArray>("dictionary");
    QTest::addColumn<QString>("language");
    QTest::addColumn<QString>("text");
    QTest::addColumn<QString>("broken");
    const auto english = [](const char *row, const QByteArray &dictionary, const QString &text,
                            const QString &broken) {
        QTest::newRow(row) << u"hyph_en_US.dic"_s << dictionary << u"en"_s << text << broken;
    };
    english("an odd number", "UTF-8\na1b\n", u"xxxabxxx"_s, u"xxxabxxx"_s);
    english("letters of all patterns", "UTF-8\na1b\nx2x\n", u"xxxabxxx"_s, u"xxxa-bxxx"_s);
    english("the highest number", "UTF-8\na1b\na2bx\nxa3bxx\nx2x\n", u"xxabxo xxabxx xabxxx"_s,
            u"xxabxo xxa-bxx xa-bxxx"_s);
    english("beginnings and ends", "UTF-8\n.aa1x\nx1aaa.\n", u"aaxxxx xaaxxx xxxaaa xxaaax"_s,
            u"aa-xxxx xaaxxx xxx-aaa xxaaax"_s);
    english("comments and settings",
            "UTF-8\n% a1b\n# a1b\nLEFTHYPHENMIN 1\nRIGHTHYPHENMIN 1\nCOMPOUNDLEFTHYPHENMIN 1\n"
            "NOHYPHEN a1b\nx1b\na2b\nx2x\n",
            u"xxxabxxx xxaxbxxx"_s, u"xxxabxxx xxax-bxxx"_s);
    english("ends of lines", "UTF-8\r\na1b  \r\nx2x", u"xxxabxxx"_s, u"xxxa-bxxx"_s);
    english("the last level", "UTF-8\nx1a\nNEXTLEVEL\na1b\nx2x\n", u"xxxabxxx"_s, u"xxxa-bxxx"_s);
    english("spelling that would change", "UTF-8\na1b\na3bx/aa=b,1,2\nx2x\n", u"xxxabaxx xxxabxxx"_s,
            u"xxxa-baxx xxxabxxx"_s);
    english("lines that cannot be read", "UTF-8\n\xff\xfe\x31\n5\n1\n\na1b\nx2x\n", u"xxxabxxx"_s,
            u"xxxa-bxxx"_s);
    QTest::newRow("another set of characters")
        << u"hyph_ru_RU.dic"_s << QByteArray("KOI8-R\n\xc1\x31\xc2\n\xd8\x32\xd8\n") << u"ru"_s
        << u"ьььабь ььабьььь"_s << u"ьььабь ььа-бьььь"_s;
    // The browser leaves English words with capital letters whole.
    QTest::newRow("capitals and apostrophes")
        << u"hyph_fr.dic"_s << QByteArray("UTF-8\na1\u00e9\nx2x\nx2'\n") << u"fr"_s
        << u"XXXAÉxXX xxxaéx'x xxxaéx’x"_s << u"XXXA-ÉxXX xxxa-éx'x xxxa-éx’x"_s;
    QTest::newRow("no region") << u"hyph_fr.dic"_s << QByteArray("UTF-8\na1é\nx2x\n") << u"fr-CA"_s
                               << u"xxaéxx"_s << u"xxa-éxx"_s;
    QTest::newRow("any region") << u"hyph_nl_BE.dic"_s << QByteArray("UTF-8\na1b\nx2x\n") << u"nl"_s
                                << u"xxxabxxx"_s << u"xxxa-bxxx"_s;
    QTest::newRow("another region") << u"hyph_en_US.dic"_s << QByteArray("UTF-8\na1b\nx2x\n") << u"en-GB"_s
                                    << u"xxxabxxx"_s << u"xxxabxxx"_s;
    QTest::newRow("the old orthography") << u"hyph_de_DE.dic"_s << QByteArray("UTF-8\na1b\nx2x\n")
                                         << u"de-1901"_s << u"xxxabxxx"_s << u"xxxabxxx"_s;
}

void ConvertHyphensTest::rulesOfDictionaries()
{
    QFETCH(QString, name);
    QFETCH(QByteArray, dictionary);
    QFETCH(QString, language);
    QFETCH(QString, text);
    useDictionary(name, dictionary);
    QTEST(brokenText(u"lang="_s + language, text), "broken");
}

void ConvertHyphensTest::pagesThatAreNotHyphenated_data()
{
    QTest::addColumn<QString>("attributes");
    QTest::addColumn<QString>("style");
    QTest::newRow("no language") << QString() << QString();
    QTest::newRow("a language without a dictionary") << u"lang=cu"_s << QString();
    QTest::newRow("a language that does not exist") << u"lang='../../x'"_s << QString();
    QTest::newRow("manual hyphens") << u"lang=en"_s << u"hyphens:manual"_s;
}

void ConvertHyphensTest::pagesThatAreNotHyphenated()
{
    QFETCH(QString, attributes);
    QFETCH(QString, style);
    QCOMPARE(brokenText(attributes, u"internationalization"_s, style), u"internationalization"_s);
}

void ConvertHyphensTest::dictionariesThatAreOfNoUse_data()
{
    QTest::addColumn<QByteArray>("dictionary");
    QTest::newRow("empty") << QByteArray();
    QTest::newRow("only a set of characters") << QByteArray("UTF-8\n");
    QTest::newRow("an unknown set of characters") << QByteArray("KLINGON\na1b\n");
    QTest::newRow("no text") << QByteArray(100000, '\0');
    QByteArray noise = "ISO8859-1\n";
    for (uint32_t i = 1; noise.size() < 200000; ++i)
        noise += static_cast<char>(i * 2654435761U >> 24);
    QTest::newRow("noise") << noise;
    // Each of many patterns has a row of numbers of its own.
    QByteArray many = "UTF-8\n";
    for (int i = 0; i < 40000; ++i) {
        for (int bit = 0; bit < 16; ++bit)
            many +=
                static_cast<char>('a' + (i * 7 + bit * 5) % 26) + QByteArray((i >> bit & 1) != 0 ? "1" : "2");
        many += '\n';
    }
    QTest::newRow("more than the browser's format has room for") << many;
}

void ConvertHyphensTest::dictionariesThatAreOfNoUse()
{
    QFETCH(QByteArray, dictionary);
    useDictionary(u"hyph_en_US.dic"_s, dictionary);
    QCOMPARE(brokenText(u"lang=en"_s, u"internationalization"_s), u"internationalization"_s);
}

void ConvertHyphensTest::aPathThatTheLoaderCannotRead()
{
    const QString folder = m_engine->makeFolder(u"a place: with spaces"_s);
    for (const auto *name :
         {"quirelle", "quirelle-engine.so", "quirelle-pdf.so", "quirelle-hyphenation.so"}) {
        const QString from = QFileInfo(Engine::program()).path() + u'/' + QLatin1String(name);
        QVERIFY(QFile::copy(from, folder + u'/' + QLatin1String(name)));
    }
    ProgramOptions options;
    options.environment = m_engine->environment();
    const QString output = m_engine->freshOutput();
    const ProgramResult result =
        runProgram(folder + u"/quirelle"_s, {m_engine->write(u"page.html"_s, "words"), output}, options);
    QCOMPARE(result.exitCode, 0);
    QCOMPARE(result.errors, QByteArray());
    QCOMPARE(PdfFile(output).text().simplified(), u"words"_s);
}

void ConvertHyphensTest::nothingIsLeft()
{
    QCOMPARE(brokenText(u"lang=en"_s, u"algorithms"_s), u"al-gorithms"_s);
    QCOMPARE(m_engine->leftBehind(), QString());
    QStringList cached =
        QDir(m_engine->home() + u"/.cache"_s).entryList(QDir::AllEntries | QDir::NoDotAndDotDot);
    // Fontconfig's, of folders that the system's cache does not have.
    cached.removeAll(u"fontconfig"_s);
    QCOMPARE(cached, QStringList());
}

QTEST_GUILESS_MAIN(ConvertHyphensTest)
#include "tst_converthyphens.moc"
