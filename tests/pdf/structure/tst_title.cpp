#include "engine/pdf/structure/title.h"
#include "tests/pdf/handpdf.h"
#include "tests/pdf/judges.h"

#include <QTest>

/// A title is found wherever a viewer may look for it.
class TestTitle : public QObject
{
    Q_OBJECT

private slots:
    void isInTheInformation();
};

namespace
{

const QString title = QStringLiteral("Größe <&> 題");

QByteArray titled(const QByteArray &pdf)
{
    return edited(pdf, [](QPDF &document) { setTitle(document, title); });
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

QTEST_APPLESS_MAIN(TestTitle)
#include "tst_title.moc"
