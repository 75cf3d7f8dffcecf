#include "engine/pdf/structure/fonts.h"
#include "tests/pdf/handpdf.h"
#include "tests/pdf/judges.h"

#include <QFile>
#include <QTest>
#include <QtEndian>

class TestFonts : public QObject
{
    Q_OBJECT

private slots:
    void keepsWhatDrawsLetters();
    void hasASoundDirectory();
    void tablesAreAligned();
    void isTheSameAgain();
    void leavesDamagedPrograms_data();
    void leavesDamagedPrograms();
    void drawsTheSameInTheFile();
};

namespace
{

std::string realProgram()
{
    QFile file(QStringLiteral("/usr/share/fonts/truetype/noto/NotoSerifDisplay-Regular.ttf"));
    if (!file.open(QIODevice::ReadOnly))
        qFatal("the font is missing: %s", qPrintable(file.fileName()));
    return file.readAll().toStdString();
}

std::string bigEndian(size_t value, size_t length)
{
    std::string bytes;
    for (size_t i = length; i-- > 0;)
        bytes += static_cast<char>(value >> (8 * i) & 0xffU);
    return bytes;
}

/// A TrueType program of these tables, aligned to 4 bytes; the checksum of the n-th is n.
std::string programOf(const std::vector<std::pair<std::string, std::string>> &tables,
                      const std::string &searchNumbers)
{
    std::string directory = std::string("\0\1\0\0", 4) + bigEndian(tables.size(), 2) + searchNumbers;
    std::string data;
    for (const auto &[tag, content] : tables) {
        directory += tag + bigEndian(data.size() / 4 + 1, 4) +
                     bigEndian(12 + 16 * tables.size() + data.size(), 4) + bigEndian(content.size(), 4);
        data += content;
        data.resize((data.size() + 3) / 4 * 4);
    }
    return directory + data;
}

QByteArrayList tagsOf(const std::string &program)
{
    QByteArrayList tags;
    const auto count = static_cast<size_t>(static_cast<unsigned char>(program[5]));
    for (size_t i = 0; i < count; ++i)
        tags += QByteArray(program.data() + 12 + 16 * i, 4);
    return tags;
}

/// A page that shows the glyphs of number 36 to 45 of a font.
QByteArray shownIn(const std::string &program)
{
    HandPdf hand;
    hand.content("BT /F 20 Tf 5 40 Td <0024002500260027> Tj 0 -25 Td <00280029002a002b002c002d> Tj ET",
                 "/Font << /F 5 0 R >>");
    hand.add("<< /Type /Font /Subtype /Type0 /BaseFont /A /Encoding /Identity-H /DescendantFonts [6 0 R] >>");
    hand.add(
        "<< /Type /Font /Subtype /CIDFontType2 /BaseFont /A /CIDSystemInfo << /Registry (Adobe) /Ordering "
        "(Identity) /Supplement 0 >> /FontDescriptor 7 0 R /CIDToGIDMap /Identity /DW 700 >>");
    hand.add(
        "<< /Type /FontDescriptor /FontName /A /Flags 4 /FontBBox [0 0 1000 1000] /ItalicAngle 0 /Ascent 900 "
        "/Descent -200 /CapHeight 700 /StemV 80 /FontFile2 8 0 R >>");
    hand.addStream("/Length1 " + QByteArray::number(program.size()), QByteArray::fromStdString(program));
    return hand.bytes();
}

void trim(QPDF &pdf)
{
    trimFonts(DocumentParts::of(pdf));
}

} // namespace

void TestFonts::keepsWhatDrawsLetters()
{
    const std::string program = realProgram();
    const std::string trimmed = withoutSpareTables(program);
    QCOMPARE(tagsOf(trimmed),
             QByteArrayList({"cvt ", "fpgm", "glyf", "head", "hhea", "hmtx", "loca", "maxp", "prep"}));
    QVERIFY(tagsOf(program).contains("GSUB") && tagsOf(program).contains("name"));
    QVERIFY(trimmed.size() < program.size());
}

void TestFonts::hasASoundDirectory()
{
    const std::string program = realProgram();
    const std::string trimmed = withoutSpareTables(program);
    const auto number = [](const std::string &bytes, size_t at) {
        return qFromBigEndian<quint32>(bytes.data() + at);
    };
    // 9 tables, 8 of them searched by halves, in 3 steps, and 1 more: 16 bytes each.
    QCOMPARE(QByteArray::fromStdString(trimmed.substr(0, 12)).toHex(), QByteArray("00010000"
                                                                                  "0009"
                                                                                  "0080"
                                                                                  "0003"
                                                                                  "0010"));
    size_t expected = 12 + 9 * 16;
    for (size_t entry = 12; entry < 12 + 9 * 16; entry += 16) {
        const size_t offset = number(trimmed, entry + 8);
        const size_t length = number(trimmed, entry + 12);
        QCOMPARE(offset, expected);
        expected = (offset + length + 3) / 4 * 4;
        const size_t before = program.find(trimmed.substr(entry, 8));
        QVERIFY(before != std::string::npos);
        QVERIFY(trimmed.substr(offset, length) ==
                program.substr(number(program, before + 8), number(program, before + 12)));
    }
    QCOMPARE(trimmed.size(), expected);
}

void TestFonts::tablesAreAligned()
{
    // Lengths with every remainder by 4, and larger than one byte holds.
    const std::string glyf(1, 'g');
    const std::string head(0x1ff, 'h');
    const std::string loca(0x102, 'l');
    const std::string maxp(0x20004, 'm');
    const std::string program = programOf(
        {{"glyf", glyf}, {"name", std::string(7, 'n')}, {"head", head}, {"loca", loca}, {"maxp", maxp}},
        bigEndian(0, 6));
    std::string expected = programOf({{"glyf", glyf}, {"head", head}, {"loca", loca}, {"maxp", maxp}},
                                     bigEndian(64, 2) + bigEndian(2, 2) + bigEndian(0, 2));
    // Checksums go with their tables.
    for (size_t entry = 12; entry < 12 + 4 * 16; entry += 16)
        expected.replace(entry + 4, 4, program, program.find(expected.substr(entry, 4)) + 4, 4);
    const std::string trimmed = withoutSpareTables(program);
    QCOMPARE(trimmed.size(), expected.size());
    QVERIFY(trimmed == expected);
}

void TestFonts::isTheSameAgain()
{
    const std::string trimmed = withoutSpareTables(realProgram());
    QVERIFY(withoutSpareTables(trimmed) == trimmed);
}

void TestFonts::leavesDamagedPrograms_data()
{
    QTest::addColumn<QByteArray>("program");
    const QByteArray sound = QByteArray::fromStdString(realProgram());
    QTest::newRow("nothing") << QByteArray();
    QTest::newRow("cut in its head") << sound.left(9);
    QTest::newRow("cut in its directory") << sound.left(60);
    QTest::newRow("cut in its tables") << sound.left(sound.size() / 2);
    QTest::newRow("of another kind") << "OTTO" + sound.mid(4);
    QTest::newRow("with a table far away") << QByteArray(sound).replace(12 + 8, 4, "\xff\xff\xff\xff");
    const QByteArray entry = QByteArray::fromHex("00000001"
                                                 "0000002c"
                                                 "00000008");
    QTest::newRow("with tables over one another")
        << QByteArray::fromHex("000100000002002000010000") + "glyf" + entry + "loca" + entry + "contents";
}

void TestFonts::leavesDamagedPrograms()
{
    QFETCH(QByteArray, program);
    QVERIFY(withoutSpareTables(program.toStdString()) == program.toStdString());
}

void TestFonts::drawsTheSameInTheFile()
{
    const QByteArray pdf = shownIn(realProgram());
    const JudgedPdf plain(edited(pdf, [](QPDF &) {}));
    const JudgedPdf trimmed(edited(pdf, trim));
    QCOMPARE(trimmed.complaints(), QByteArray());
    QVERIFY(trimmed.size() < plain.size());
    QVERIFY(!trimmed.picture(144).isNull());
    QCOMPARE(trimmed.picture(144), plain.picture(144));
    QVERIFY(trimmed.picture(144) != JudgedPdf(edited(HandPdf().bytes(), trim)).picture(144));
    QVERIFY(trimmed.inks() == plain.inks() && trimmed.inks().value(0).value(3) > 0);
}

QTEST_APPLESS_MAIN(TestFonts)
#include "tst_fonts.moc"
