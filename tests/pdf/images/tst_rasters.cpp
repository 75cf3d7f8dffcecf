#include "engine/pdf/images/downscale.h"
#include "engine/pdf/images/losslessimage.h"

#include <QTest>
#include <qpdf/Pl_Flate.hh>
#include <qpdf/Pl_String.hh>

#include <cstdlib>
#include <set>

class TestRasters : public QObject
{
    Q_OBJECT

private slots:
    void averagesAreas_data();
    void averagesAreas();
    void keepsChannelsApart();
    void weighsByWhatCanBeSeen();
    void countsFewColours();
    void aPaletteHasAtMost256Colours_data();
    void aPaletteHasAtMost256Colours();
    void choosesTheSmallestWay();
    void predictionsCanBeUndone();
    void paletteHoldsEveryColour();
};

namespace
{

std::string bytes(std::initializer_list<int> values)
{
    std::string text;
    for (const int value : values)
        text.push_back(static_cast<char>(value));
    return text;
}

std::string inflated(const std::string &data)
{
    std::string text;
    Pl_String sink("sink", nullptr, text);
    Pl_Flate flate("inflate", &sink, Pl_Flate::a_inflate);
    flate.write(reinterpret_cast<const unsigned char *>(data.data()), data.size());
    flate.finish();
    return text;
}

/// A line drawing: few colours, large areas.
Raster drawing()
{
    Raster raster{64, 64, 3, {}};
    for (int i = 0; i < 64 * 64; ++i)
        raster.samples += (i % 64 == i / 64) ? bytes({200, 0, 0}) : bytes({255, 255, 255});
    return raster;
}

/// Colours that all differ and grow evenly.
Raster ramp()
{
    Raster raster{64, 64, 3, {}};
    for (int y = 0; y < 64; ++y) {
        for (int x = 0; x < 64; ++x)
            raster.samples += bytes({4 * x, 4 * y, 2 * (x + y)});
    }
    return raster;
}

/// So many colours, each several times, in an order that cannot be predicted.
Raster mixture(unsigned colours)
{
    Raster raster{64, 64, 3, {}};
    unsigned random = 1;
    for (unsigned i = 0; i < 64 * 64; ++i) {
        random = random * 1664525U + 1013904223U;
        const unsigned colour = i < colours ? i : (random >> 16U) % colours;
        const unsigned scattered = colour * 40503U;
        raster.samples += bytes({static_cast<int>(colour & 0xffU), static_cast<int>(scattered >> 8U & 0xffU),
                                 static_cast<int>(colour >> 8U)});
    }
    return raster;
}

/// Undoes PNG's predictors (PNG specification, 9.2), and notes in `filters` which of them were used.
std::string unpredicted(const std::string &rows, size_t length, size_t channels, std::set<int> &filters)
{
    std::string samples;
    for (size_t begin = 0; begin < rows.size(); begin += length + 1) {
        const int filter = rows[begin];
        filters.insert(filter);
        const std::string above =
            begin > 0 ? samples.substr(samples.size() - length) : std::string(length, '\0');
        std::string row;
        for (size_t i = 0; i < length; ++i) {
            const auto byte = [](char value) { return static_cast<int>(static_cast<unsigned char>(value)); };
            const int a = i >= channels ? byte(row[i - channels]) : 0;
            const int b = byte(above[i]);
            const int c = i >= channels ? byte(above[i - channels]) : 0;
            const int distances[] = {std::abs(b - c), std::abs(a - c), std::abs(a + b - 2 * c)};
            const int nearest = distances[0] <= distances[1] && distances[0] <= distances[2] ? a
                                : distances[1] <= distances[2]                               ? b
                                                                                             : c;
            const int predictions[] = {0, a, b, (a + b) / 2, nearest};
            row += static_cast<char>(byte(rows[begin + 1 + i]) + predictions[filter]);
        }
        samples += row;
    }
    return samples;
}

} // namespace

void TestRasters::averagesAreas_data()
{
    QTest::addColumn<QList<int>>("from");
    QTest::addColumn<int>("width");
    QTest::addColumn<QList<int>>("to");
    QTest::newRow("the same size") << QList<int>{1, 2, 3} << 3 << QList<int>{1, 2, 3};
    QTest::newRow("half") << QList<int>{0, 100, 50, 150} << 2 << QList<int>{50, 100};
    QTest::newRow("all in one") << QList<int>{0, 0, 0, 200} << 1 << QList<int>{50};
    // Two thirds: each new pixel covers one and a half old ones.
    QTest::newRow("three to two") << QList<int>{0, 90, 180} << 2 << QList<int>{30, 150};
    QTest::newRow("rounded") << QList<int>{0, 1} << 1 << QList<int>{1};
}

void TestRasters::averagesAreas()
{
    QFETCH(QList<int>, from);
    QFETCH(int, width);
    QFETCH(QList<int>, to);
    std::string samples;
    for (const int value : from)
        samples.push_back(static_cast<char>(value));
    const auto length = static_cast<int>(from.size());
    // Once lying, once standing.
    const Raster lying = averaged({length, 1, 1, samples}, width, 1);
    const Raster standing = averaged({1, length, 1, samples}, 1, width);
    std::string expected;
    for (const int value : to)
        expected.push_back(static_cast<char>(value));
    QCOMPARE(lying.samples, expected);
    QCOMPARE(standing.samples, expected);
}

void TestRasters::keepsChannelsApart()
{
    const Raster result = averaged({2, 1, 3, bytes({0, 10, 20, 100, 30, 40})}, 1, 1);
    QCOMPARE(result.samples, bytes({50, 20, 30}));
}

void TestRasters::weighsByWhatCanBeSeen()
{
    const Raster colours{4, 1, 1, bytes({0, 200, 40, 80})};
    const Raster weights{4, 1, 1, bytes({0, 255, 0, 0})};
    // The black that cannot be seen is left out; where nothing can be seen, all count.
    QCOMPARE(averaged(colours, 2, 1, &weights).samples, bytes({200, 60}));
}

void TestRasters::countsFewColours()
{
    QCOMPARE(fewColours(drawing()).value().size(), size_t{2});
    QVERIFY(!fewColours(ramp()));
}

void TestRasters::aPaletteHasAtMost256Colours_data()
{
    QTest::addColumn<unsigned>("colours");
    QTest::addColumn<int>("bits");
    for (const auto &[colours, bits] :
         {std::pair(2U, 1), std::pair(3U, 2), std::pair(4U, 2), std::pair(5U, 4), std::pair(16U, 4),
          std::pair(17U, 8), std::pair(256U, 8)})
        QTest::addRow("%u", colours) << colours << bits;
    QTest::newRow("257") << 257U << 0;
}

void TestRasters::aPaletteHasAtMost256Colours()
{
    QFETCH(unsigned, colours);
    QFETCH(int, bits);
    const Raster raster = mixture(colours);
    const auto few = fewColours(raster);
    QCOMPARE(few ? few->size() : 0, bits > 0 ? size_t{colours} : 0);
    const LosslessImage image = losslessImage(raster, true);
    QCOMPARE(image.palette.size(), bits > 0 ? size_t{colours} * 3 : 0);
    QCOMPARE(image.bits, bits > 0 ? bits : 8);
    const std::string rows = inflated(image.data);
    if (image.palette.empty()) {
        QCOMPARE(rows.size(), raster.samples.size() + (image.predicted ? 64 : 0));
        return;
    }
    std::string samples;
    for (size_t pixel = 0; pixel < 64 * 64; ++pixel) {
        const size_t bit = pixel * static_cast<size_t>(bits);
        const unsigned shift = 8U - static_cast<unsigned>(bits) - bit % 8;
        const unsigned byte = static_cast<unsigned char>(rows.at(bit / 8));
        samples += image.palette.substr(3 * (byte >> shift & ((1U << static_cast<unsigned>(bits)) - 1)), 3);
    }
    QVERIFY(samples == raster.samples);
}

void TestRasters::choosesTheSmallestWay()
{
    const LosslessImage palette = losslessImage(drawing(), true);
    QCOMPARE(palette.bits, 1);
    QVERIFY(!palette.palette.empty());
    const LosslessImage plain = losslessImage(drawing(), false);
    QVERIFY(plain.palette.empty());
    QVERIFY(palette.data.size() + palette.palette.size() < plain.data.size());

    const LosslessImage predicted = losslessImage(ramp(), true);
    QVERIFY(predicted.predicted);
    QCOMPARE(inflated(predicted.data).size(), size_t{64} * (64 * 3 + 1));
    QVERIFY(predicted.data.size() < 2000);
}

void TestRasters::predictionsCanBeUndone()
{
    std::set<int> filters;
    for (const int channels : {1, 3}) {
        // Rows of every kind: a ramp to the right, repeated, with steps, noise around both, and few values.
        Raster raster{60, 60, channels, {}};
        unsigned random = 1;
        for (int y = 0; y < 60; ++y) {
            for (int x = 0; x < 60 * channels; ++x) {
                random = random * 1664525U + 1013904223U;
                const int noise = static_cast<int>(random >> 30U);
                const int kinds[] = {4 * x, 240 - 4 * x, 7 * (x * y % 13) + noise, 2 * (x + y) + noise,
                                     x == 7 * y % 60 ? 200 : 0};
                raster.samples.push_back(static_cast<char>(kinds[y / 12]));
            }
        }
        const LosslessImage image = losslessImage(raster, false);
        QVERIFY(image.predicted);
        QCOMPARE(image.channels, channels);
        const auto length = static_cast<size_t>(60 * channels);
        const auto pixel = static_cast<size_t>(channels);
        QVERIFY(unpredicted(inflated(image.data), length, pixel, filters) == raster.samples);
    }
    QCOMPARE(filters, (std::set<int>{0, 1, 2, 3, 4}));
}

void TestRasters::paletteHoldsEveryColour()
{
    Raster raster{5, 1, 3, {}};
    for (const int red : {10, 20, 30, 20, 10})
        raster.samples += bytes({red, 0, 0});
    // Made longer, so that a palette is worth it.
    raster.height = 400;
    const std::string row = raster.samples;
    for (int y = 1; y < raster.height; ++y)
        raster.samples += row;
    const LosslessImage image = losslessImage(raster, true);
    QCOMPARE(image.bits, 2);
    QCOMPARE(image.palette, bytes({10, 0, 0, 20, 0, 0, 30, 0, 0}));
    // 0 1 2 1, then 0: two bits each, filled up to whole bytes.
    QCOMPARE(inflated(image.data).substr(0, 2), bytes({0x19, 0x00}));
}

QTEST_APPLESS_MAIN(TestRasters)
#include "tst_rasters.moc"
