#include "conversion/engineoptions.h"
#include "settings/choices.h"
#include "settings/settingsfile.h"

#include <QMap>
#include <QSettings>
#include <QTemporaryDir>
#include <QTest>

using namespace Qt::StringLiterals;

namespace
{

using Stored = QMap<QString, QString>;

/// The options for a settings file with only these keys.
QString optionsFrom(const Stored &stored)
{
    const QTemporaryDir folder;
    QSettings settings(folder.filePath(u"settings.ini"_s), QSettings::IniFormat);
    for (auto key = stored.cbegin(); key != stored.cend(); ++key)
        settings.setValue(u"/SettingInfo/"_s + key.key(), key.value());
    return engineOptions(settings);
}

/// The same without a minimum font size, which is set if the file has no such key.
QString optionsFrom(const QString &key, const QString &value)
{
    return optionsFrom({{u"FontSize"_s, u"0"_s}, {key, value}});
}

/// The expected text from its fifteen places.
QString line(const QMap<int, QString> &places)
{
    QStringList texts;
    for (int place = 1; place <= 15; ++place)
        texts << places.value(place, place == 2 ? u"\"--copies\" \"1\""_s : QString());
    return texts.join(u' ');
}

QString blanks(int count)
{
    return QString(count, u' ');
}

} // namespace

class tst_EngineOptions : public QObject
{
    Q_OBJECT

private slots:
    void aMissingFileGivesTheDefaults()
    {
        const QSettings settings(u"/nonexistent/settings.ini"_s, QSettings::IniFormat);
        QCOMPARE(engineOptions(settings),
                 u" \"--copies\" \"1\"  \"--minimum-font-size\" \"10\""_s + blanks(11));
    }

    void everyPlaceOffLeavesItsBlanks()
    {
        QCOMPARE(optionsFrom({{u"FontSize"_s, u"0"_s}}), u" \"--copies\" \"1\""_s + blanks(13));
    }

    void onePaperAndOneFlagKeepTheBlanksBetween()
    {
        const Stored stored{{u"PaperSiezeModel"_s, u"5"_s}, {u"CopyNumber"_s, QString()},
                            {u"Orientation"_s, u"0"_s},     {u"FontSize"_s, u"0"_s},
                            {u"Grayscale"_s, u"True"_s},    {u"NoImages"_s, u"False"_s}};
        QCOMPARE(optionsFrom(stored), u"\"--page-size\" \"A4\" \"--copies\" \"1\""_s + blanks(8) +
                                          u"\"--grayscale\""_s + blanks(5));
    }

    void everyPlaceOnStandsInOrder()
    {
        Stored stored{{u"PaperSiezeModel"_s, u"30"_s}, {u"CopyNumber"_s, u"9"_s}, {u"Orientation"_s, u"1"_s},
                      {u"FontSize"_s, u"72"_s},        {u"Title"_s, u"T t"_s},    {u"AuthUser"_s, u"U"_s},
                      {u"Password"_s, u"P"_s},         {u"Proxy"_s, u"h:1"_s}};
        for (const char *flag :
             {"NoWebLink", "Grayscale", "DisableJs", "NoImages", "LowQuality", "NoBackground"})
            stored.insert(QString::fromLatin1(flag), u"True"_s);
        QCOMPARE(
            optionsFrom(stored),
            u"\"--page-size\" \"Tabloid\" \"--copies\" \"10\" \"--orientation\" \"Landscape\" "
            "\"--minimum-font-size\" \"72\" \"--title\" \"T t\" \"--username\" \"U\" \"--password\" \"P\" "
            "\"-p\" \"h:1\" \"--disable-external-links\" \"--grayscale\" \"--disable-javascript\" "
            "\"--no-images\" \"--lowquality\" \"--no-background\" "_s);
    }

    void paperIsNamedByItsIndex_data()
    {
        QTest::addColumn<QString>("index");
        QTest::addColumn<QString>("name");
        const QStringList names{
            QString(),  u"A0"_s,     u"A1"_s,      u"A2"_s,  u"A3"_s,        u"A4"_s,    u"A5"_s,
            u"A6"_s,    u"A7"_s,     u"A8"_s,      u"A9"_s,  u"B0"_s,        u"B1"_s,    u"B2"_s,
            u"B3"_s,    u"B4"_s,     u"B5"_s,      u"B6"_s,  u"B7"_s,        u"B8"_s,    u"B9"_s,
            u"B10"_s,   u"C5E"_s,    u"Comm10E"_s, u"DLE"_s, u"Executive"_s, u"Folio"_s, u"Ledger"_s,
            u"Legal"_s, u"Letter"_s, u"Tabloid"_s};
        for (int index = 0; index < names.size(); ++index)
            QTest::addRow("%d", index) << QString::number(index) << names.at(index);
        QTest::newRow("above") << u"31"_s << QString();
        QTest::newRow("below") << u"-1"_s << QString();
        QTest::newRow("no number") << u"abc"_s << QString();
        QTest::newRow("empty") << u""_s << QString();
        QTest::newRow("a fraction") << u"5.0"_s << QString();
        QTest::newRow("beyond 32 bits") << u"4294967301"_s << QString();
    }

    void paperIsNamedByItsIndex()
    {
        QFETCH(QString, index);
        QFETCH(QString, name);
        const QString option = name.isEmpty() ? QString() : u"\"--page-size\" \"%1\""_s.arg(name);
        QCOMPARE(optionsFrom(u"PaperSiezeModel"_s, index), line({{1, option}}));
    }

    void copiesAreOneMoreThanStored_data()
    {
        QTest::addColumn<QString>("stored");
        QTest::addColumn<QString>("copies");
        for (int number = 0; number <= 9; ++number)
            QTest::addRow("%d", number) << QString::number(number) << QString::number(number + 1);
        QTest::newRow("above") << u"10"_s << u"1"_s;
        QTest::newRow("below") << u"-1"_s << u"1"_s;
        QTest::newRow("empty") << u""_s << u"1"_s;
        QTest::newRow("no number") << u"two"_s << u"1"_s;
    }

    void copiesAreOneMoreThanStored()
    {
        QFETCH(QString, stored);
        QFETCH(QString, copies);
        QCOMPARE(optionsFrom(u"CopyNumber"_s, stored), line({{2, u"\"--copies\" \"%1\""_s.arg(copies)}}));
    }

    void onlyOneIsLandscape_data()
    {
        QTest::addColumn<QString>("stored");
        QTest::addColumn<bool>("landscape");
        QTest::newRow("0") << u"0"_s << false;
        QTest::newRow("1") << u"1"_s << true;
        QTest::newRow("2") << u"2"_s << false;
        QTest::newRow("-1") << u"-1"_s << false;
        QTest::newRow("word") << u"Landscape"_s << false;
    }

    void onlyOneIsLandscape()
    {
        QFETCH(QString, stored);
        QFETCH(bool, landscape);
        const QString option = landscape ? u"\"--orientation\" \"Landscape\""_s : QString();
        QCOMPARE(optionsFrom(u"Orientation"_s, stored), line({{3, option}}));
    }

    void fontSizeHasLimits_data()
    {
        QTest::addColumn<QString>("stored");
        QTest::addColumn<QString>("points");
        QTest::newRow("0") << u"0"_s << QString();
        QTest::newRow("4") << u"4"_s << QString();
        QTest::newRow("5") << u"5"_s << u"5"_s;
        QTest::newRow("7") << u"7"_s << u"7"_s;
        QTest::newRow("72") << u"72"_s << u"72"_s;
        QTest::newRow("73") << u"73"_s << QString();
        QTest::newRow("negative") << u"-9"_s << QString();
        QTest::newRow("leading zero") << u"010"_s << u"10"_s;
        QTest::newRow("no number") << u"big"_s << QString();
        QTest::newRow("empty") << u""_s << QString();
    }

    void fontSizeHasLimits()
    {
        QFETCH(QString, stored);
        QFETCH(QString, points);
        const QString option = points.isEmpty() ? QString() : u"\"--minimum-font-size\" \"%1\""_s.arg(points);
        QCOMPARE(optionsFrom({{u"FontSize"_s, stored}}), line({{4, option}}));
    }

    void textsEnterAsTheyAre_data()
    {
        QTest::addColumn<QString>("key");
        QTest::addColumn<int>("place");
        QTest::addColumn<QString>("word");
        QTest::newRow("title") << u"Title"_s << 5 << u"--title"_s;
        QTest::newRow("user") << u"AuthUser"_s << 6 << u"--username"_s;
        QTest::newRow("password") << u"Password"_s << 7 << u"--password"_s;
        QTest::newRow("proxy") << u"Proxy"_s << 8 << u"-p"_s;
    }

    void textsEnterAsTheyAre()
    {
        QFETCH(QString, key);
        QFETCH(int, place);
        QFETCH(QString, word);
        const auto option = [&](const QString &text) { return u"\""_s + word + u"\" \""_s + text + u"\""_s; };
        QCOMPARE(optionsFrom(key, QString()), line({}));
        QCOMPARE(optionsFrom(key, u" "_s), line({{place, option(u" "_s)}}));
        QCOMPARE(optionsFrom(key, u" a, \"b\" \\c\u00e4 "_s),
                 line({{place, option(u" a, \"b\" \\c\u00e4 "_s)}}));
        QCOMPARE(optionsFrom(key, QString(100, u'x')), line({{place, option(QString(100, u'x'))}}));
        const QString longText = QString(99, u'x') + u"yz"_s + QString(49, u'z');
        QCOMPARE(optionsFrom(key, longText), line({{place, option(QString(99, u'x') + u'y')}}));
    }

    void onlyTheExactWordTurnsAFlagOn_data()
    {
        QTest::addColumn<QString>("key");
        QTest::addColumn<int>("place");
        QTest::addColumn<QString>("word");
        QTest::newRow("links") << u"NoWebLink"_s << 9 << u"\"--disable-external-links\""_s;
        QTest::newRow("grayscale") << u"Grayscale"_s << 10 << u"\"--grayscale\""_s;
        QTest::newRow("scripts") << u"DisableJs"_s << 11 << u"\"--disable-javascript\""_s;
        QTest::newRow("images") << u"NoImages"_s << 12 << u"\"--no-images\""_s;
        QTest::newRow("quality") << u"LowQuality"_s << 13 << u"\"--lowquality\""_s;
        QTest::newRow("background") << u"NoBackground"_s << 14 << u"\"--no-background\""_s;
    }

    void onlyTheExactWordTurnsAFlagOn()
    {
        QFETCH(QString, key);
        QFETCH(int, place);
        QFETCH(QString, word);
        QCOMPARE(optionsFrom(key, u"True"_s), line({{place, word}}));
        for (const char *off : {"true", "TRUE", "1", "False", "", "True "})
            QCOMPARE(optionsFrom(key, QString::fromLatin1(off)), line({}));
    }

    void ownPaperMeasuresChangeNothing()
    {
        QCOMPARE(
            optionsFrom({{u"FontSize"_s, u"0"_s}, {u"PaperWidth"_s, u"210"_s}, {u"PaperHeight"_s, u"297"_s}}),
            line({}));
        QCOMPARE(
            optionsFrom({{u"FontSize"_s, u"0"_s}, {u"PaperWidth"_s, u"-1"_s}, {u"PaperHeight"_s, u"x"_s}}),
            line({}));
    }

    void aMarkerInATextTakesPartInTheFilling()
    {
        // %9 is filled together with the ninth place of the template.
        QCOMPARE(optionsFrom({{u"FontSize"_s, u"0"_s}, {u"Title"_s, u"%9"_s}, {u"NoWebLink"_s, u"True"_s}}),
                 line({{5, u"\"--title\" \"\"--disable-external-links\"\""_s},
                       {9, u"\"--disable-external-links\""_s}}));
        // %1 is the lowest marker when the next place is filled, so all later ones move, and one marker is
        // left over.
        QCOMPARE(optionsFrom({{u"FontSize"_s, u"0"_s}, {u"Title"_s, u"%1"_s}, {u"AuthUser"_s, u"U"_s}}),
                 u" \"--copies\" \"1\"   \"--title\" \"\"--username\" \"U\"\""_s + blanks(10) + u"%15"_s);
    }
};

QTEST_GUILESS_MAIN(tst_EngineOptions)
#include "tst_engineoptions.moc"
