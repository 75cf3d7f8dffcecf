#include "engine/pdf/title.h"
#include "tests/pdf/handpdf.h"
#include "tests/pdf/judges.h"

#include <QTest>

/// A title is found wherever a viewer may look for it.
class TestTitle : public QObject
{
    Q_OBJECT

private slots:
    void isInTheInformation();
    void isInTheMetadata_data();
    void isInTheMetadata();
    void metadataWithoutATitleStays();
};

namespace
{

const QString title = QStringLiteral("Größe <&> 題");

QByteArray titled(const QByteArray &pdf)
{
    return edited(pdf, [](QPDF &document) { setTitle(document, title); });
}

/// A document with such metadata, which is object 5.
QByteArray described(const QByteArray &metadata)
{
    HandPdf hand;
    hand.catalogue("/Metadata 5 0 R");
    hand.addStream("/Type /Metadata /Subtype /XML", metadata);
    return hand.bytes();
}

/// Metadata as poppler reads it.
QByteArray metadataOf(const JudgedPdf &pdf)
{
    return outputOf(QStringLiteral("pdfinfo"), {QStringLiteral("-meta"), pdf.path()});
}

} // namespace

void TestTitle::isInTheInformation()
{
    const JudgedPdf pdf(titled(HandPdf().bytes()));
    QCOMPARE(pdf.complaints(), QByteArray());
    const QByteArray told = outputOf(QStringLiteral("pdfinfo"), {pdf.path()});
    QVERIFY2(told.contains("Title:           " + title.toUtf8() + '\n'), told.constData());
    QVERIFY(pdf.readable().contains("/DisplayDocTitle true"));
}

void TestTitle::isInTheMetadata_data()
{
    QTest::addColumn<QByteArray>("before");
    QTest::addColumn<QByteArray>("after");
    QTest::newRow("element")
        << QByteArray(
               "<x><dc:title>\n<rdf:Alt><rdf:li xml:lang=\"x-default\">Old</rdf:li></rdf:Alt></dc:title><y/>")
        << QByteArray("<x><dc:title><rdf:Alt><rdf:li xml:lang=\"x-default\">Größe &lt;&amp;&gt; "
                      "題</rdf:li></rdf:Alt></dc:title><y/>");
    QTest::newRow("attribute") << QByteArray("<x a='b' dc:title=\"Old\" c='d'/>")
                               << QByteArray("<x a='b' dc:title=\"Größe &lt;&amp;&gt; 題\" c='d'/>");
}

void TestTitle::isInTheMetadata()
{
    QFETCH(QByteArray, before);
    QFETCH(QByteArray, after);
    const JudgedPdf pdf(titled(described(before)));
    QCOMPARE(pdf.complaints(), QByteArray());
    QCOMPARE(metadataOf(pdf).trimmed(), after);
}

void TestTitle::metadataWithoutATitleStays()
{
    QCOMPARE(metadataOf(JudgedPdf(titled(described("<x/>")))).trimmed(), QByteArray("<x/>"));
}

QTEST_APPLESS_MAIN(TestTitle)
#include "tst_title.moc"
