#include "engine/pdf/images/jpeg.h"

#include <QBuffer>
#include <QImage>
#include <QTest>

#include <stdexcept>

class TestJpeg : public QObject
{
    Q_OBJECT

private slots:
    void keepsThePictureThroughBothWays();
    void keepsBrightnessBitByBit();
    void leavesGrayAsItIs();
    void halvesWhileItIsLargeEnough();
    void givesWhatAShortenedFileHas();
    void refuses_data();
    void refuses();
};

namespace
{

/// Colours that change slowly, as in a photograph.
Raster picture(int width, int height)
{
    Raster raster{width, height, 3, {}};
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x) {
            raster.samples.push_back(static_cast<char>(255 * x / width));
            raster.samples.push_back(static_cast<char>(255 * y / height));
            raster.samples.push_back(static_cast<char>(128));
        }
    }
    return raster;
}

int at(const Raster &raster, size_t index)
{
    return static_cast<unsigned char>(raster.samples[index]);
}

double apart(const Raster &first, const Raster &second)
{
    double sum = 0;
    for (size_t i = 0; i < first.samples.size(); ++i)
        sum += qAbs(at(first, i) - at(second, i));
    return sum / static_cast<double>(first.samples.size());
}

/// A JPEG of four components, which the browser turns into three.
QByteArray inks()
{
    QImage image(8, 8, QImage::Format_RGB32);
    image.fill(Qt::red);
    QByteArray file;
    QBuffer buffer(&file);
    image.save(&buffer, "JPG");
    // The frame's header: its length, number of components, and one more of them.
    const qsizetype frame = file.indexOf("\xff\xc0");
    file[frame + 3] = static_cast<char>(file[frame + 3] + 3);
    file[frame + 9] = 4;
    return file.insert(frame + 19, QByteArray("\x04\x11\x00", 3));
}

} // namespace

void TestJpeg::keepsThePictureThroughBothWays()
{
    const Raster raster = picture(64, 48);
    const Raster back = decodeJpeg(encodeJpeg(raster, 95, false));
    QCOMPARE(back.width, 64);
    QCOMPARE(back.height, 48);
    QCOMPARE(back.channels, 3);
    QCOMPARE(back.samples.size(), raster.samples.size());
    QVERIFY(apart(raster, back) < 1.5);
}

void TestJpeg::keepsBrightnessBitByBit()
{
    const std::string file = encodeJpeg(picture(67, 45), 70, true);
    const std::string gray = grayJpeg(file);
    QCOMPARE(decodeJpeg(gray).channels, 1);
    QVERIFY(gray.size() < file.size());

    const Raster colours = decodeJpeg(file);
    const Raster grays = decodeJpeg(gray);
    QCOMPARE(grays.width, 67);
    QCOMPARE(grays.height, 45);
    int worst = 0;
    for (size_t i = 0; i < grays.samples.size(); ++i) {
        const double luma =
            0.299 * at(colours, 3 * i) + 0.587 * at(colours, 3 * i + 1) + 0.114 * at(colours, 3 * i + 2);
        worst = qMax(worst, qRound(qAbs(luma - at(grays, i))));
    }
    QVERIFY2(worst <= 3, QByteArray::number(worst).constData());
}

void TestJpeg::leavesGrayAsItIs()
{
    const std::string file = encodeJpeg({16, 16, 1, std::string(256, 'x')}, 60, false);
    QCOMPARE(grayJpeg(file), file);
}

void TestJpeg::halvesWhileItIsLargeEnough()
{
    const std::string file = encodeJpeg(picture(800, 400), 80, true);
    QCOMPARE(decodeJpeg(file, 200, 100).width, 200);
    QCOMPARE(decodeJpeg(file, 201, 100).width, 400);
    QCOMPARE(decodeJpeg(file, 1, 1).width, 100);
    QCOMPARE(decodeJpeg(file, 900, 900).width, 800);
    QCOMPARE(decodeJpeg(file).width, 800);
}

void TestJpeg::givesWhatAShortenedFileHas()
{
    std::string file = encodeJpeg(picture(160, 160), 90, false);
    file.resize(file.size() / 2);
    const Raster raster = decodeJpeg(file);
    QCOMPARE(raster.height, 160);
    QVERIFY(qAbs(at(raster, size_t{240}) - 127) < 10);
    QCOMPARE(decodeJpeg(grayJpeg(file)).height, 160);
}

void TestJpeg::refuses_data()
{
    QTest::addColumn<QByteArray>("file");
    const QByteArray sound = QByteArray::fromStdString(encodeJpeg(picture(16, 16), 80, false));
    QByteArray huge = sound;
    const qsizetype frame = huge.indexOf("\xff\xc0");
    huge.replace(frame + 5, 4, QByteArray("\xff\xdc\xff\xdc", 4));
    QByteArray unknown = sound;
    unknown.replace(frame + 1, 1, "\xc5");

    QTest::newRow("nothing") << QByteArray();
    QTest::newRow("another file") << QByteArray("GIF89a").repeated(20);
    QTest::newRow("the beginning only") << sound.left(20);
    QTest::newRow("too many pixels") << huge;
    QTest::newRow("an unknown process") << unknown;
    QTest::newRow("of inks") << inks();
}

void TestJpeg::refuses()
{
    QFETCH(QByteArray, file);
    QVERIFY_THROWS_EXCEPTION(std::runtime_error, decodeJpeg(file.toStdString()));
    QVERIFY_THROWS_EXCEPTION(std::runtime_error, grayJpeg(file.toStdString()));
}

QTEST_APPLESS_MAIN(TestJpeg)
#include "tst_jpeg.moc"
