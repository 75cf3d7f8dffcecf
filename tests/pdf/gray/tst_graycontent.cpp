#include "engine/pdf/gray/graycontent.h"

#include <QTest>

#include <stdexcept>

class TestGrayContent : public QObject
{
    Q_OBJECT

private slots:
    void rewrites_data();
    void rewrites();
    void refuses_data();
    void refuses();
};

namespace
{

QByteArray gray(const QByteArray &content)
{
    return QByteArray::fromStdString(grayContent(content.toStdString()));
}

} // namespace

void TestGrayContent::rewrites_data()
{
    QTest::addColumn<QByteArray>("content");
    QTest::addColumn<QByteArray>("expected");
    const auto row = [](const char *name, const char *content, const char *expected) {
        QTest::newRow(name) << QByteArray(content) << QByteArray(expected);
    };
    row("fill", "1 0 0 rg\nf", "0.299 g\nf");
    row("stroke", "q\n0 1 0 RG S", "q\n0.587 G S");
    row("two on a line", "0 0 1 RG 0 0 1 rg\n", "0.114 G 0.114 g\n");
    row("clipped", "2 -1 0 rg f", "0.299 g f");
    row("gray stays", ".5 g .25 G % as it was\nf", ".5 g .25 G % as it was\nf");
    row("a pattern", "/Pattern cs /P0 scn f", "/Pattern cs /P0 scn f");
    row("a pattern without space between", "/Pattern CS/Pattern cs/P6 SCN/P6 scn\n",
        "/Pattern CS/Pattern cs/P6 SCN/P6 scn\n");
    row("text stays", "BT /F1 12 Tf (1 0 0 rg) Tj [<00>-20(k)] TJ ET",
        "BT /F1 12 Tf (1 0 0 rg) Tj [<00>-20(k)] TJ ET");
    row("marks stay", "/P <</MCID 0>>BDC\n1 1 1 rg\nEMC", "/P <</MCID 0>>BDC\n1 g\nEMC");
    row("nothing at all", "", "");
    row("operands without operator", "f 1 0 0", "f 1 0 0");
}

void TestGrayContent::rewrites()
{
    QFETCH(QByteArray, content);
    QFETCH(QByteArray, expected);
    QCOMPARE(gray(content), expected);
}

void TestGrayContent::refuses_data()
{
    QTest::addColumn<QByteArray>("named");
    const auto row = [](const char *content, const char *named) {
        QTest::newRow(content) << QByteArray(named);
    };
    row("0 0 0 1 k f", "the operator k");
    row("0 0 0 1 K S", "the operator K");
    row("/DeviceRGB cs", "the operator cs");
    row("/Ink CS", "the operator CS");
    row("1 0 0 sc", "the operator sc");
    row("1 0 0 SC", "the operator SC");
    row("1 0 0 scn", "the operator scn");
    row("/Pattern cs 1 0 0 /P scn", "the operator scn");
    row("/S sh", "the operator sh");
    row("BI /W 1 /H 1 /CS /RGB /BPC 8 ID abc EI", "the operator BI");
    row("1 0 rg", "a colour");
}

void TestGrayContent::refuses()
{
    QFETCH(QByteArray, named);
    try {
        gray(QTest::currentDataTag());
        QFAIL("taken");
    } catch (const std::runtime_error &error) {
        QVERIFY2(QByteArray(error.what()).startsWith("the browser wrote " + named), error.what());
        QVERIFY(
            QByteArray(error.what()).endsWith(", which cannot be turned gray: convert without --grayscale"));
    }
}

QTEST_APPLESS_MAIN(TestGrayContent)
#include "tst_graycontent.moc"
