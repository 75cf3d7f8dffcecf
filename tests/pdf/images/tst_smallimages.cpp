#include "engine/pdf/images/jpeg.h"
#include "engine/pdf/images/losslessimage.h"
#include "engine/pdf/images/smallimages.h"
#include "tests/pdf/handpdf.h"
#include "tests/pdf/judges.h"

#include <QTest>

class TestSmallImages : public QObject
{
    Q_OBJECT

private slots:
    void photographsGetSmaller();
    void imagesThatFitKeepTheirSize();
    void drawingsStaySharp();
    void samplesAreRounded();
    void losslessWinsATie();
    void softMasksStayPlainGray();
    void whatCannotBeSeenDoesNotBleed();
    void othersStay_data();
    void othersStay();
};

namespace
{

/// Colours with some grain, as a camera gives them.
QByteArray photograph(int width, int height)
{
    Raster raster{width, height, 3, {}};
    unsigned grain = 1;
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x) {
            grain = grain * 1664525 + 1013904223;
            const int noise = static_cast<int>(grain >> 28U);
            raster.samples.push_back(static_cast<char>(20 + 200 * x / width + noise));
            raster.samples.push_back(static_cast<char>(20 + 200 * y / height + noise));
            raster.samples.push_back(static_cast<char>(100 + noise));
        }
    }
    return QByteArray::fromStdString(encodeJpeg(raster, 90, true));
}

QByteArray imageEntries(int width, int height, const QByteArray &space)
{
    return "/Type /XObject /Subtype /Image /BitsPerComponent 8 /Width " + QByteArray::number(width) +
           " /Height " + QByteArray::number(height) + " /ColorSpace " + space + " ";
}

HandPdf imagePdf(const QByteArray &dictionary, const QByteArray &data, const QByteArray &operators)
{
    HandPdf hand;
    hand.addStream(dictionary, data);
    hand.content(operators, "/XObject << /I 5 0 R >>");
    return hand;
}

/// pdfimages' row of width, height, colour, components, bits and coding.
QString described(const QStringList &row)
{
    return row.mid(3, 6).join(QLatin1Char(' '));
}

} // namespace

void TestSmallImages::photographsGetSmaller()
{
    const QByteArray pdf = imagePdf(imageEntries(900, 600, "/DeviceRGB") + "/Filter /DCTDecode",
                                    photograph(900, 600), "90 0 0 60 5 20 cm /I Do")
                               .bytes();
    const JudgedPdf before(pdf);
    const JudgedPdf after(edited(pdf, makeImagesSmall));
    QCOMPARE(after.complaints(), QByteArray());
    QCOMPARE(described(after.images().value(0)), QStringLiteral("120 80 rgb 3 8 jpeg"));
    QVERIFY(after.size() * 10 < before.size());
    const Difference found = difference(before.picture(72), after.picture(72));
    QVERIFY2(found.average < 3, QByteArray::number(found.average).constData());
}

void TestSmallImages::imagesThatFitKeepTheirSize()
{
    const QByteArray pdf = imagePdf(imageEntries(100, 60, "/DeviceRGB") + "/Filter /DCTDecode",
                                    photograph(100, 60), "75 0 0 45 5 20 cm /I Do")
                               .bytes();
    QCOMPARE(described(JudgedPdf(edited(pdf, makeImagesSmall)).images().value(0)),
             QStringLiteral("100 60 rgb 3 8 jpeg"));
}

void TestSmallImages::drawingsStaySharp()
{
    QByteArray samples;
    for (int i = 0; i < 100 * 100; ++i)
        samples += (i % 100) % 10 == 0 ? QByteArray("\xff\x00\x00", 3) : QByteArray("\xff\xff\xff", 3);
    const QByteArray pdf =
        imagePdf(imageEntries(100, 100, "/DeviceRGB"), samples, "75 0 0 75 5 5 cm /I Do").bytes();
    const JudgedPdf after(edited(pdf, makeImagesSmall));
    QVERIFY(after.images().value(0).contains(QLatin1String("image")));
    const Difference found = difference(JudgedPdf(pdf).picture(96), after.picture(96));
    QCOMPARE(found.worst, 0.0);
}

void TestSmallImages::samplesAreRounded()
{
    // 12 samples on 9 points stay, 13 do not: 96 of them make an inch.
    for (const auto &[samples, left] : {std::pair(12, "12"), std::pair(13, "12")}) {
        const QByteArray pdf = imagePdf(imageEntries(samples, samples, "/DeviceGray"),
                                        QByteArray(samples * samples, 'x'), "9 0 0 9 5 5 cm /I Do")
                                   .bytes();
        QCOMPARE(JudgedPdf(edited(pdf, makeImagesSmall)).images().value(0).value(3), QLatin1String(left));
    }
}

void TestSmallImages::losslessWinsATie()
{
    // Among images of more than 256 colours with different noise, some have the same size in both ways.
    constexpr int side = 40;
    constexpr int photographQuality = 50;
    for (int attempt = 0; attempt < 4000; ++attempt) {
        Raster raster{side, side, 3, {}};
        auto random = static_cast<unsigned>(attempt);
        for (int i = 0; i < side * side; ++i) {
            random = random * 1664525 + 1013904223;
            const int grain =
                i * 37 % (side * side) < 40 + attempt % 40 ? static_cast<int>(random >> 28U) : 0;
            raster.samples.push_back(static_cast<char>(6 * (i % side) + grain));
            raster.samples.push_back(static_cast<char>(6 * (i / side) + grain / 2));
            raster.samples.push_back(static_cast<char>(100 + grain));
        }
        const LosslessImage lossless = losslessImage(raster, true);
        if (fewColours(raster) || lossless.data.size() != encodeJpeg(raster, photographQuality, true).size())
            continue;
        const QByteArray pdf = imagePdf(imageEntries(side, side, "/DeviceRGB"),
                                        QByteArray::fromStdString(raster.samples), "75 0 0 75 5 5 cm /I Do")
                                   .bytes();
        QCOMPARE(described(JudgedPdf(edited(pdf, makeImagesSmall)).images().value(0)),
                 QStringLiteral("40 40 rgb 3 8 image"));
        return;
    }
    QFAIL("no such image found");
}

void TestSmallImages::softMasksStayPlainGray()
{
    HandPdf hand = imagePdf(imageEntries(400, 400, "/DeviceRGB") + "/SMask 6 0 R", QByteArray(480000, '\x40'),
                            "75 0 0 75 5 5 cm /I Do");
    QByteArray mask;
    for (int i = 0; i < 160000; ++i)
        mask.append(i % 400 < 200 ? '\xff' : '\x00');
    hand.addStream(imageEntries(400, 400, "/DeviceGray"), mask);
    const JudgedPdf after(edited(hand.bytes(), makeImagesSmall));
    QCOMPARE(after.complaints(), QByteArray());
    QCOMPARE(after.images().size(), 2);
    QCOMPARE(described(after.images()[1]), QStringLiteral("100 100 gray 1 8 image"));
    QVERIFY(difference(JudgedPdf(hand.bytes()).picture(96), after.picture(96)).average < 1);
}

void TestSmallImages::whatCannotBeSeenDoesNotBleed()
{
    // White dots on unseen black: averaged alike, they would come out gray.
    QByteArray samples;
    QByteArray mask;
    for (int i = 0; i < 160000; ++i) {
        const bool seen = i % 2 == 0;
        samples += seen ? QByteArray(3, '\xff') : QByteArray(3, '\0');
        mask += seen ? '\xff' : '\0';
    }
    HandPdf hand = imagePdf(imageEntries(400, 400, "/DeviceRGB") + "/SMask 6 0 R", samples,
                            "0 g 0 0 100 100 re f 75 0 0 75 5 5 cm /I Do");
    hand.addStream(imageEntries(400, 400, "/DeviceGray"), mask);
    const QImage picture = JudgedPdf(edited(hand.bytes(), makeImagesSmall)).picture(72);
    // Half of the white is seen over black.
    QVERIFY2(qAbs(qGray(picture.pixel(40, 60)) - 128) < 6,
             QByteArray::number(qGray(picture.pixel(40, 60))).constData());
}

void TestSmallImages::othersStay_data()
{
    QTest::addColumn<QByteArray>("entries");
    QTest::addColumn<int>("channels");
    QTest::newRow("CMYK") << QByteArray("/ColorSpace /DeviceCMYK") << 4;
    QTest::newRow("palette") << QByteArray("/ColorSpace [/Indexed /DeviceRGB 0 <ff0000>]") << 1;
    QTest::newRow("turned over") << QByteArray("/ColorSpace /DeviceGray /Decode [1 0]") << 1;
    QTest::newRow("colour key") << QByteArray("/ColorSpace /DeviceGray /Mask [0 9]") << 1;
}

void TestSmallImages::othersStay()
{
    QFETCH(QByteArray, entries);
    QFETCH(int, channels);
    const QByteArray pdf =
        imagePdf("/Type /XObject /Subtype /Image /Width 200 /Height 200 /BitsPerComponent 8 " + entries,
                 QByteArray(40000, 'x').repeated(channels), "75 0 0 75 5 5 cm /I Do")
            .bytes();
    QCOMPARE(described(JudgedPdf(edited(pdf, makeImagesSmall)).images().value(0)),
             described(JudgedPdf(pdf).images().value(0)));
}

QTEST_GUILESS_MAIN(TestSmallImages)
#include "tst_smallimages.moc"
