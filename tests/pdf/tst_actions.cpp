#include "engine/pdf/actions.h"

#include <QTest>
#include <qpdf/QPDF.hh>

class TestActions : public QObject
{
    Q_OBJECT

private slots:
    void sieves_data();
    void sieves();
    void endsChainsThatBiteTheirTail();
    void takesEmptyAdditionalActionsAway();
};

void TestActions::sieves_data()
{
    QTest::addColumn<QByteArray>("action");
    QTest::addColumn<QByteArray>("left");

    for (const char *kind : {"URI", "GoToR", "GoToE", "Launch", "SubmitForm", "ImportData", "JavaScript",
                             "Rendition", "Movie", "Sound", "RichMediaExecute", "Unheard"})
        QTest::newRow(kind) << QByteArray("<< /S /") + kind + " >>" << QByteArray("null");
    for (const char *kind : {"GoTo", "Named", "Hide", "SetOCGState", "ResetForm", "Thread", "Trans"})
        QTest::newRow(kind) << QByteArray("<< /S /") + kind + " >>" << QByteArray("<< /S /") + kind + " >>";
    QTest::newRow("a thread of another file")
        << QByteArray("<< /S /Thread /F (other.pdf) >>") << QByteArray("null");
    QTest::newRow("a destination") << QByteArray("[0 /Fit]") << QByteArray("[ 0 /Fit ]");
    QTest::newRow("a named destination") << QByteArray("/here") << QByteArray("/here");
    QTest::newRow("no kind") << QByteArray("<< /D /here >>") << QByteArray("null");
    QTest::newRow("within, then out")
        << QByteArray("<< /S /GoTo /Next << /S /URI >> >>") << QByteArray("<< /S /GoTo >>");
    QTest::newRow("out, then within")
        << QByteArray("<< /S /URI /Next << /S /GoTo >> >>") << QByteArray("<< /S /GoTo >>");
    QTest::newRow("out in the middle")
        << QByteArray("<< /S /GoTo /Next << /S /URI /Next << /S /Named >> >> >>")
        << QByteArray("<< /Next << /S /Named >> /S /GoTo >>");
    QTest::newRow("several after it")
        << QByteArray("<< /S /GoTo /Next [ << /S /URI >> << /S /Named >> << /S /Hide >> ] >>")
        << QByteArray("<< /Next [ << /S /Named >> << /S /Hide >> ] /S /GoTo >>");
    QTest::newRow("several after one that goes")
        << QByteArray("<< /S /URI /Next [ << /S /Named >> << /S /Hide >> ] >>")
        << QByteArray("<< /Next [ << /S /Hide >> ] /S /Named >>");
    QTest::newRow("all out") << QByteArray("<< /S /URI /Next [ << /S /Launch >> << /S /URI >> ] >>")
                             << QByteArray("null");
}

void TestActions::sieves()
{
    QFETCH(QByteArray, action);
    QFETCH(QByteArray, left);
    QCOMPARE(
        QByteArray::fromStdString(internalAction(QPDFObjectHandle::parse(action.toStdString())).unparse()),
        left);
}

void TestActions::endsChainsThatBiteTheirTail()
{
    QPDF pdf;
    pdf.emptyPDF();
    QPDFObjectHandle first = pdf.makeIndirectObject(QPDFObjectHandle::parse("<< /S /GoTo >>"));
    QPDFObjectHandle second = pdf.makeIndirectObject(QPDFObjectHandle::parse("<< /S /URI >>"));
    first.replaceKey("/Next", QPDFObjectHandle::newArray({second, second}));
    second.replaceKey("/Next", QPDFObjectHandle::newArray({first, second}));
    QPDFObjectHandle left = internalAction(first);
    QVERIFY(left.isDictionary());
    QVERIFY(!left.hasKey("/Next"));
    second.removeKey("/Next");
}

void TestActions::takesEmptyAdditionalActionsAway()
{
    QPDFObjectHandle holder = QPDFObjectHandle::parse("<< /AA << /O << /S /URI >> /C << /S /GoTo >> >> >>");
    keepInternalAdditionalActions(holder);
    QCOMPARE(holder.unparse(), std::string("<< /AA << /C << /S /GoTo >> >> >>"));
    holder = QPDFObjectHandle::parse("<< /AA << /O << /S /JavaScript /JS (1) >> >> >>");
    keepInternalAdditionalActions(holder);
    QCOMPARE(holder.unparse(), std::string("<< >>"));
}

QTEST_APPLESS_MAIN(TestActions)
#include "tst_actions.moc"
