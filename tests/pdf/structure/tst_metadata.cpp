#include "engine/pdf/edits.h"
#include "tests/pdf/handpdf.h"
#include "tests/pdf/judges.h"

#include <QTest>
#include <QTimeZone>
#include <QXmlStreamReader>

/// What a document says of itself is found wherever a viewer may look for it, as poppler and qpdf see it.
class TestMetadata : public QObject
{
    Q_OBJECT

private slots:
    void saysWhatThePageSays();
    void leavesOutWhatIsNotKnown();
    void theJobsTitleIsFirst();
    void mapsRolesThatReadersDoNotKnow();
    void theSameTimeGivesTheSameBytes();
};

namespace
{

const QString title = QStringLiteral("Größe <&> \"題\"");
const QDateTime noon(QDate(2024, 5, 6), QTime(12, 0), QTimeZone::utc());

/// A printed document with the browser's information, which is object `5 0 R`.
QByteArray printed(const QByteArray &information, const HandPdf &other = {})
{
    HandPdf hand = other;
    const int number =
        hand.add("<< /Creator (Chromium) /Producer (Skia/PDF m156) "
                 "/CreationDate (D:20200102030405+00'00') /ModDate (D:20200102030405+00'00') " +
                 information + " >>");
    QByteArray bytes = hand.bytes();
    return bytes.replace("trailer\n<< ", "trailer\n<< /Info " + reference(number) + ' ');
}

QByteArray informationOf(const JudgedPdf &pdf)
{
    return outputOf(QStringLiteral("pdfinfo"), {QStringLiteral("-isodates"), pdf.path()}).simplified();
}

QString xmpOf(const JudgedPdf &pdf)
{
    return QString::fromUtf8(outputOf(QStringLiteral("pdfinfo"), {QStringLiteral("-meta"), pdf.path()}));
}

/// Names and texts of the elements that hold text, in a row: "title: a", "creator: b".
QStringList textsOf(const QString &xmp)
{
    QStringList texts;
    QString name;
    QXmlStreamReader reader(xmp);
    while (!reader.atEnd()) {
        reader.readNext();
        const bool isContainer =
            reader.namespaceUri() == QLatin1String("http://www.w3.org/1999/02/22-rdf-syntax-ns#");
        if (reader.isStartElement() && !isContainer)
            name = reader.name().toString();
        if (reader.isCharacters() && !reader.isWhitespace())
            texts += name + QStringLiteral(": ") + reader.text().toString();
    }
    return reader.hasError() ? QStringList(reader.errorString()) : texts;
}

} // namespace

void TestMetadata::saysWhatThePageSays()
{
    Job job;
    job.page = {QStringLiteral("Ada & Zoë"),
                QStringLiteral("one, two"),
                QStringLiteral("About <it>"),
                QStringLiteral("Generator 7"),
                QStringLiteral("de-CH"),
                noon,
                noon.addDays(1),
                QUrl(),
                QStringLiteral("Chrome/156.0")};
    const JudgedPdf pdf(editedPdf(printed("/Title (A page)"), job));
    QCOMPARE(pdf.complaints(), QByteArray());
    const QByteArray told = informationOf(pdf);
    for (const char *part :
         {"Title: A page", "Subject: About <it>", "Keywords: one, two", "Author: Ada & Zoë",
          "Creator: Generator 7", "Producer: Quirelle (Chrome/156.0)", "CreationDate: 2024-05-06T12:00:00Z",
          "ModDate: 2024-05-07T12:00:00Z", "Metadata Stream: yes"})
        QVERIFY2(told.contains(part), told.constData());
    QCOMPARE(textsOf(xmpOf(pdf)),
             QStringList({QStringLiteral("title: A page"), QStringLiteral("creator: Ada & Zoë"),
                          QStringLiteral("description: About <it>"), QStringLiteral("language: de-CH"),
                          QStringLiteral("Keywords: one, two"),
                          QStringLiteral("Producer: Quirelle (Chrome/156.0)"),
                          QStringLiteral("CreatorTool: Generator 7"),
                          QStringLiteral("CreateDate: 2024-05-06T12:00:00Z"),
                          QStringLiteral("ModifyDate: 2024-05-07T12:00:00Z")}));
    QVERIFY(pdf.readable().contains("/Lang (de-CH)"));
}

void TestMetadata::leavesOutWhatIsNotKnown()
{
    HandPdf english;
    english.catalogue("/Lang (en)");
    const JudgedPdf pdf(editedPdf(printed({}, english), {}));
    QCOMPARE(pdf.complaints(), QByteArray());
    QCOMPARE(textsOf(xmpOf(pdf)),
             QStringList(
                 {QStringLiteral("language: en"), QStringLiteral("Producer: Quirelle (Skia/PDF m156)"),
                  QStringLiteral("CreatorTool: Quirelle"), QStringLiteral("CreateDate: 2020-01-02T03:04:05Z"),
                  QStringLiteral("ModifyDate: 2020-01-02T03:04:05Z")}));
    QVERIFY(!pdf.readable().contains("DisplayDocTitle"));
}

void TestMetadata::theJobsTitleIsFirst()
{
    Job job;
    job.title = title;
    const JudgedPdf pdf(editedPdf(printed("/Title (A page)"), job));
    QCOMPARE(pdf.complaints(), QByteArray());
    QVERIFY(informationOf(pdf).contains("Title: " + title.toUtf8() + " Creator"));
    QVERIFY(textsOf(xmpOf(pdf)).contains(QStringLiteral("title: ") + title));
    QVERIFY(pdf.readable().contains("/DisplayDocTitle true"));
}

void TestMetadata::mapsRolesThatReadersDoNotKnow()
{
    HandPdf tagged;
    tagged.catalogue("/StructTreeRoot 5 0 R /MarkInfo << /Marked true >>");
    tagged.add("<< /Type /StructTreeRoot /K 6 0 R >>");
    tagged.add("<< /Type /StructElem /S /Document /P 5 0 R /K [7 0 R 8 0 R 9 0 R] >>");
    for (const char *type : {"/Em", "/Strong", "/Aside"})
        tagged.add(QByteArray("<< /Type /StructElem /P 6 0 R /S ") + type + " >>");
    // It complains on standard error of a type that it does not know, and then there is no answer.
    QVERIFY(!JudgedPdf(editedPdf(printed({}, tagged), {})).structure().isEmpty());
    QVERIFY(!JudgedPdf(editedPdf(printed({}), {})).readable().contains("/RoleMap"));
}

void TestMetadata::theSameTimeGivesTheSameBytes()
{
    const auto table = [](const QByteArray &first, const QByteArray &second, const QByteArray &date) {
        HandPdf hand;
        hand.catalogue("/StructTreeRoot 5 0 R");
        hand.add("<< /Type /StructTreeRoot /K 6 0 R /IDTree << /Names [(" + first + ") 7 0 R (" + second +
                 ") 8 0 R] >> >>");
        hand.add("<< /Type /StructElem /S /Table /P 5 0 R /K [7 0 R 8 0 R 9 0 R] >>");
        hand.add("<< /Type /StructElem /S /TH /P 6 0 R /ID (" + first + ") >>");
        hand.add("<< /Type /StructElem /S /TH /P 6 0 R /ID (" + second + ") >>");
        hand.add("<< /Type /StructElem /S /TD /P 6 0 R /A [<< /O /Table /Headers [(" + second + ") (" +
                 first + ")] >>] >>");
        return printed("/Title (" + date + ")", hand).replace("20200102", date);
    };
    Job job;
    job.title = title;
    job.fixedTime = noon;
    const QByteArray one = editedPdf(table("node00000009", "node00000010", "20240101"), job);
    QCOMPARE(editedPdf(table("node00000123", "node00000124", "20240102"), job), one);
    QCOMPARE(JudgedPdf(one).complaints(), QByteArray());
    QVERIFY(JudgedPdf(one).readable().simplified().contains("/Headers [ (node00000001) (node00000000) ]"));
    QVERIFY(informationOf(JudgedPdf(one)).contains("CreationDate: 2024-05-06T12:00:00Z"));
    job.fixedTime = {};
    QVERIFY(editedPdf(table("node00000009", "node00000010", "20240101"), job) !=
            editedPdf(table("node00000009", "node00000010", "20240102"), job));
}

QTEST_GUILESS_MAIN(TestMetadata)
#include "tst_metadata.moc"
