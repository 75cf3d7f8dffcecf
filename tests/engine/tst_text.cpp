#include "engine/base/text.h"

#include <QTest>

using namespace Qt::StringLiterals;

class TextTest : public QObject
{
    Q_OBJECT

private slots:
    void everyCharacterThatBreaksALineIsEscaped();
    void bytesThatAreNoTextAreReplaced_data();
    void bytesThatAreNoTextAreReplaced();
    void theMiddleIsLeftOut();
};

/// By Qt's Unicode tables.
void TextTest::everyCharacterThatBreaksALineIsEscaped()
{
    for (char32_t character = 1; character <= QChar::LastValidCodePoint; ++character) {
        if (QChar::isSurrogate(character))
            continue;
        const QChar::Category category = QChar::category(character);
        const bool breaks = category == QChar::Other_Control || category == QChar::Other_Format ||
                            category == QChar::Separator_Line || category == QChar::Separator_Paragraph;
        const QString text = u"a%1b"_s.arg(QStringView(QChar::fromUcs4(character)));
        const QString shown = QString::fromStdString(onOneLine(text.toStdString()));
        const QString escaped = u"a\\u%1b"_s.arg(static_cast<uint>(character), 4, 16, QChar(u'0'));
        // The toolkit may know fewer of them.
        if (shown != (breaks ? escaped : text) && (breaks || category != QChar::Other_NotAssigned))
            QFAIL(qPrintable(QString::number(static_cast<uint>(character), 16)));
    }
    QCOMPARE(onOneLine(std::string_view("a\0b", 3)), std::string("a\\u0000b"));
}

void TextTest::bytesThatAreNoTextAreReplaced_data()
{
    QTest::addColumn<QByteArray>("bytes");
    QTest::addColumn<QByteArray>("shown");
    const QByteArray none = "\xef\xbf\xbd";
    QTest::newRow("a byte that begins nothing") << QByteArray("a\xff"
                                                              "b")
                                                << "a" + none + "b";
    QTest::newRow("a byte that goes on with nothing") << QByteArray("a\x80"
                                                                    "b")
                                                      << "a" + none + "b";
    QTest::newRow("half a character") << QByteArray("a\xc3") << "a" + none;
    QTest::newRow("half a character, and another") << QByteArray("\xe2\x82x") << none + none + "x";
    QTest::newRow("nothing") << QByteArray("") << QByteArray("");
}

void TextTest::bytesThatAreNoTextAreReplaced()
{
    QFETCH(QByteArray, bytes);
    QFETCH(QByteArray, shown);
    QCOMPARE(QByteArray::fromStdString(onOneLine(bytes.toStdString())), shown);
}

void TextTest::theMiddleIsLeftOut()
{
    QCOMPARE(onOneLine("0123456789", 10), std::string("0123456789"));
    QCOMPARE(onOneLine("0123456789x", 10), std::string("012…456789x"));
    // Not within a character.
    QCOMPARE(onOneLine("ääääääääää", 6), std::string("ää…ääää"));
    QCOMPARE(onOneLine("\n\n\n", 6), std::string("\\u…000a"));
}

QTEST_GUILESS_MAIN(TextTest)
#include "tst_text.moc"
