#include "engine/pdf/jpeg.h"
#include "engine/pdf/lowquality.h"
#include "tests/pdf/handpdf.h"
#include "tests/pdf/judges.h"

#include <QTest>

class TestLowQualityPdf : public QObject
{
    Q_OBJECT

private slots:
    void photographsGetSmaller();
    void imagesThatFitKeepTheirSize();
    void drawingsStaySharp();
    void otherDepthsGetSmaller_data();
    void otherDepthsGetSmaller();
    void palettesBecomeColours();
    void palettesOfGraysStayGray();
    void softMasksStayPlainGray();
    void whatCannotBeSeenDoesNotBleed();
    void stencilsStay();
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

void TestLowQualityPdf::photographsGetSmaller()
{
    const QByteArray pdf = imagePdf(imageEntries(900, 600, "/DeviceRGB") + "/Filter /DCTDecode",
                                    photograph(900, 600), "90 0 0 60 5 20 cm /I Do")
                               .bytes();
    const JudgedPdf before(pdf);
    const JudgedPdf after(edited(pdf, lowerQuality));
    QCOMPARE(after.complaints(), QByteArray());
    QCOMPARE(described(after.images().value(0)), QStringLiteral("120 80 rgb 3 8 jpeg"));
    QVERIFY(after.size() * 10 < before.size());
    const Difference found = difference(before.picture(72), after.picture(72));
    QVERIFY2(found.average < 3, QByteArray::number(found.average).constData());
}

void TestLowQualityPdf::imagesThatFitKeepTheirSize()
{
    const QByteArray pdf = imagePdf(imageEntries(100, 60, "/DeviceRGB") + "/Filter /DCTDecode",
                                    photograph(100, 60), "75 0 0 45 5 20 cm /I Do")
                               .bytes();
    QCOMPARE(described(JudgedPdf(edited(pdf, lowerQuality)).images().value(0)),
             QStringLiteral("100 60 rgb 3 8 jpeg"));
}

void TestLowQualityPdf::drawingsStaySharp()
{
    QByteArray samples;
    for (int i = 0; i < 100 * 100; ++i)
        samples += (i % 100) % 10 == 0 ? QByteArray("\xff\x00\x00", 3) : QByteArray("\xff\xff\xff", 3);
    const QByteArray pdf =
        imagePdf(imageEntries(100, 100, "/DeviceRGB"), samples, "75 0 0 75 5 5 cm /I Do").bytes();
    const JudgedPdf after(edited(pdf, lowerQuality));
    QVERIFY(after.images().value(0).contains(QLatin1String("image")));
    const Difference found = difference(JudgedPdf(pdf).picture(96), after.picture(96));
    QCOMPARE(found.worst, 0.0);
}

void TestLowQualityPdf::otherDepthsGetSmaller_data()
{
    QTest::addColumn<int>("bits");
    for (const int bits : {2, 4, 16})
        QTest::addRow("%d bits", bits) << bits;
}

void TestLowQualityPdf::otherDepthsGetSmaller()
{
    QFETCH(int, bits);
    // Rows that do not end with a whole byte.
    constexpr int width = 399;
    constexpr int height = 300;
    const int largest = (1 << bits) - 1;
    QByteArray samples;
    for (int y = 0; y < height; ++y) {
        unsigned gathered = 0;
        int count = 0;
        for (int x = 0; x < width || count % 8 != 0; ++x) {
            const int value = x < width ? largest * (x / 40 + y / 30) / 20 : 0;
            gathered = gathered << bits | static_cast<unsigned>(value);
            for (count += bits; count >= 8; count -= 8)
                samples.append(static_cast<char>(gathered >> (count - 8) & 255U));
        }
    }
    const QByteArray pdf =
        imagePdf("/Type /XObject /Subtype /Image /Width 399 /Height 300 /ColorSpace /DeviceGray "
                 "/BitsPerComponent " +
                     QByteArray::number(bits),
                 samples, "75 0 0 56.4 5 5 cm /I Do")
            .bytes();
    const JudgedPdf after(edited(pdf, lowerQuality));
    QCOMPARE(after.complaints(), QByteArray());
    QCOMPARE(after.images().value(0).mid(3, 5).join(QLatin1Char(' ')), QStringLiteral("100 75 gray 1 8"));
    const Difference found = difference(JudgedPdf(pdf).picture(72), after.picture(72));
    QVERIFY2(found.average < 2, QByteArray::number(found.average).constData());
}

void TestLowQualityPdf::palettesBecomeColours()
{
    QByteArray samples;
    for (int i = 0; i < 400 * 400; ++i)
        samples.append(static_cast<char>((i % 400 / 50 + i / 20000) % 3));
    const QByteArray pdf = imagePdf(imageEntries(400, 400, "[/Indexed /DeviceRGB 2 <ff0000 00ff00 ffffff>]"),
                                    samples, "75 0 0 75 5 5 cm /I Do")
                               .bytes();
    const JudgedPdf after(edited(pdf, lowerQuality));
    QCOMPARE(after.complaints(), QByteArray());
    QCOMPARE(after.images().value(0).mid(3, 2).join(QLatin1Char(' ')), QStringLiteral("100 100"));
    const Difference found = difference(JudgedPdf(pdf).picture(72), after.picture(72));
    QVERIFY2(found.average < 4, QByteArray::number(found.average).constData());
}

void TestLowQualityPdf::palettesOfGraysStayGray()
{
    QByteArray samples;
    for (int i = 0; i < 400 * 400; ++i)
        samples.append(static_cast<char>((i % 400 / 50 + i / 20000) % 3));
    const QByteArray pdf = imagePdf(imageEntries(400, 400, "[/Indexed /DeviceGray 2 <0060ff>]"), samples,
                                    "75 0 0 75 5 5 cm /I Do")
                               .bytes();
    const JudgedPdf after(edited(pdf, lowerQuality));
    QCOMPARE(after.complaints(), QByteArray());
    QVERIFY(!after.readable().contains("/DeviceRGB"));
    QCOMPARE(after.images().value(0).mid(3, 2).join(QLatin1Char(' ')), QStringLiteral("100 100"));
    QVERIFY(difference(JudgedPdf(pdf).picture(72), after.picture(72)).average < 4);
}

void TestLowQualityPdf::softMasksStayPlainGray()
{
    HandPdf hand = imagePdf(imageEntries(400, 400, "/DeviceRGB") + "/SMask 6 0 R", QByteArray(480000, '\x40'),
                            "75 0 0 75 5 5 cm /I Do");
    QByteArray mask;
    for (int i = 0; i < 160000; ++i)
        mask.append(i % 400 < 200 ? '\xff' : '\x00');
    hand.addStream(imageEntries(400, 400, "/DeviceGray"), mask);
    const JudgedPdf after(edited(hand.bytes(), lowerQuality));
    QCOMPARE(after.complaints(), QByteArray());
    QCOMPARE(after.images().size(), 2);
    QCOMPARE(described(after.images()[1]), QStringLiteral("100 100 gray 1 8 image"));
    QVERIFY(difference(JudgedPdf(hand.bytes()).picture(96), after.picture(96)).average < 1);
}

void TestLowQualityPdf::whatCannotBeSeenDoesNotBleed()
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
    const QImage picture = JudgedPdf(edited(hand.bytes(), lowerQuality)).picture(72);
    // Half of the white is seen over black.
    QVERIFY2(qAbs(qGray(picture.pixel(40, 60)) - 128) < 6,
             QByteArray::number(qGray(picture.pixel(40, 60))).constData());
}

void TestLowQualityPdf::stencilsStay()
{
    const QByteArray entries = "/Type /XObject /Subtype /Image /Width 400 /Height 400 /ImageMask true";
    const JudgedPdf after(
        edited(imagePdf(entries, QByteArray(20000, '\xa5'), "75 0 0 75 5 5 cm /I Do").bytes(), lowerQuality));
    QCOMPARE(after.images().value(0).mid(2, 3).join(QLatin1Char(' ')), QStringLiteral("stencil 400 400"));
}

void TestLowQualityPdf::othersStay_data()
{
    QTest::addColumn<QByteArray>("entries");
    QTest::addColumn<int>("channels");
    QTest::newRow("CMYK") << QByteArray("/ColorSpace /DeviceCMYK") << 4;
    QTest::newRow("Lab") << QByteArray("/ColorSpace [/Lab << /WhitePoint [1 1 1] >>]") << 3;
    QTest::newRow("turned over") << QByteArray("/ColorSpace /DeviceGray /Decode [1 0]") << 1;
    QTest::newRow("colour key") << QByteArray("/ColorSpace /DeviceGray /Mask [0 9]") << 1;
}

void TestLowQualityPdf::othersStay()
{
    QFETCH(QByteArray, entries);
    QFETCH(int, channels);
    const QByteArray pdf =
        imagePdf("/Type /XObject /Subtype /Image /Width 200 /Height 200 /BitsPerComponent 8 " + entries,
                 QByteArray(40000, 'x').repeated(channels), "75 0 0 75 5 5 cm /I Do")
            .bytes();
    QCOMPARE(described(JudgedPdf(edited(pdf, lowerQuality)).images().value(0)),
             described(JudgedPdf(pdf).images().value(0)));
}

QTEST_GUILESS_MAIN(TestLowQualityPdf)
#include "tst_lowqualitypdf.moc"
