#include "engine/pdf/images/equalimages.h"
#include "tests/pdf/handpdf.h"
#include "tests/pdf/judges.h"

#include <QTest>

/// Equal images are stored once, and look as before wherever they are shown.
class TestEqualImages : public QObject
{
    Q_OBJECT

private slots:
    void equalImagesAreThereOnce();
    void differentImagesStay_data();
    void differentImagesStay();
    void masksAreMergedBeforeTheirImages();
    void imagesInFormsAreMergedToo();
};

namespace
{

const QByteArray red = QByteArray("\xff\0\0", 3).repeated(4);
const QByteArray blue = QByteArray("\0\0\xff", 3).repeated(4);
const QByteArray properties =
    "/Type /XObject /Subtype /Image /Width 2 /Height 2 /BitsPerComponent 8 /ColorSpace /DeviceRGB";
const QByteArray maskProperties =
    "/Type /XObject /Subtype /Image /Width 2 /Height 2 /BitsPerComponent 8 /ColorSpace /DeviceGray";

/// A page that shows two images, 5 0 R and 6 0 R, beside each other.
HandPdf pageWithTwo()
{
    HandPdf pdf;
    pdf.content("q 40 0 0 40 5 30 cm /A Do Q q 40 0 0 40 55 30 cm /B Do Q",
                "/XObject << /A 5 0 R /B 6 0 R >>");
    return pdf;
}

void merge(QPDF &pdf)
{
    mergeEqualImages(DocumentParts::of(pdf));
}

/// Checks that the edit is invisible, and returns the number of images that are left.
qsizetype imagesAfterMerging(const HandPdf &pdf)
{
    const JudgedPdf before(pdf.bytes());
    const JudgedPdf after(edited(pdf.bytes(), merge));
    if (!after.complaints().isEmpty() || before.picture(72) != after.picture(72) ||
        after.picture(72).isNull())
        return -1;
    return after.readable().count("/Subtype /Image");
}

} // namespace

void TestEqualImages::equalImagesAreThereOnce()
{
    HandPdf pdf = pageWithTwo();
    pdf.addStream(properties, red);
    pdf.addStream(properties, red);
    QCOMPARE(imagesAfterMerging(pdf), 1);
}

void TestEqualImages::differentImagesStay_data()
{
    QTest::addColumn<QByteArray>("otherProperties");
    QTest::addColumn<QByteArray>("otherData");
    QTest::newRow("other data") << properties << blue;
    QTest::newRow("other meaning") << properties + " /Decode [1 0 1 0 1 0]" << red;
}

void TestEqualImages::differentImagesStay()
{
    QFETCH(QByteArray, otherProperties);
    QFETCH(QByteArray, otherData);
    HandPdf pdf = pageWithTwo();
    pdf.addStream(properties, red);
    pdf.addStream(otherProperties, otherData);
    QCOMPARE(imagesAfterMerging(pdf), 2);
}

void TestEqualImages::masksAreMergedBeforeTheirImages()
{
    HandPdf pdf = pageWithTwo();
    pdf.addStream(properties + " /SMask 7 0 R", red);
    pdf.addStream(properties + " /SMask 8 0 R", red);
    pdf.addStream(maskProperties, "\x10\x80\xc0\xff");
    pdf.addStream(maskProperties, "\x10\x80\xc0\xff");
    QCOMPARE(imagesAfterMerging(pdf), 2);
}

void TestEqualImages::imagesInFormsAreMergedToo()
{
    HandPdf pdf = pageWithTwo();
    pdf.addStream(properties, red);
    pdf.addStream("/Type /XObject /Subtype /Form /BBox [0 0 1 1] /Resources << /XObject << /C 7 0 R >> >>",
                  "/C Do");
    pdf.addStream(properties, red);
    QCOMPARE(imagesAfterMerging(pdf), 1);
}

QTEST_GUILESS_MAIN(TestEqualImages)
#include "tst_equalimages.moc"
