#include "engine/pdf/calculator.h"

#include <QTest>

#include <stdexcept>

class TestCalculator : public QObject
{
    Q_OBJECT

private slots:
    void computes_data();
    void computes();
    void refusesMalformedPrograms_data();
    void refusesMalformedPrograms();
    void refusesAnEmptyStack();
    void refusesAFullStack();
    void givesItsBodyBack();
};

void TestCalculator::computes_data()
{
    QTest::addColumn<QByteArray>("program");
    QTest::addColumn<double>("result");

    // The input is 0.25 each time.
    QTest::newRow("nothing") << QByteArray("{}") << 0.25;
    QTest::newRow("add") << QByteArray("{1 add}") << 1.25;
    QTest::newRow("sub") << QByteArray("{1 exch sub}") << 0.75;
    QTest::newRow("mul") << QByteArray("{4 mul}") << 1.0;
    QTest::newRow("div") << QByteArray("{2 div}") << 0.125;
    QTest::newRow("div by zero") << QByteArray("{0 div}") << 0.0;
    QTest::newRow("idiv") << QByteArray("{pop 7 2 idiv}") << 3.0;
    QTest::newRow("mod") << QByteArray("{pop -5 3 mod}") << -2.0;
    QTest::newRow("neg abs") << QByteArray("{neg abs}") << 0.25;
    QTest::newRow("ceiling") << QByteArray("{ceiling}") << 1.0;
    QTest::newRow("floor") << QByteArray("{neg floor}") << -1.0;
    QTest::newRow("round") << QByteArray("{pop -6.5 round}") << -6.0;
    QTest::newRow("truncate") << QByteArray("{pop -6.5 truncate}") << -6.0;
    QTest::newRow("sqrt") << QByteArray("{sqrt}") << 0.5;
    QTest::newRow("sin in degrees") << QByteArray("{pop 90 sin}") << 1.0;
    QTest::newRow("cos in degrees") << QByteArray("{pop 60 cos}") << 0.5;
    QTest::newRow("atan") << QByteArray("{pop -1 0 atan}") << 270.0;
    QTest::newRow("exp") << QByteArray("{pop 9 0.5 exp}") << 3.0;
    QTest::newRow("ln") << QByteArray("{pop 2.718281828459045 ln}") << 1.0;
    QTest::newRow("log") << QByteArray("{pop 100 log}") << 2.0;
    QTest::newRow("cvi") << QByteArray("{pop 4.7 cvi}") << 4.0;
    QTest::newRow("bitshift left") << QByteArray("{pop 7 3 bitshift}") << 56.0;
    QTest::newRow("bitshift right") << QByteArray("{pop 142 -3 bitshift}") << 17.0;
    QTest::newRow("and") << QByteArray("{pop 52 7 and}") << 4.0;
    QTest::newRow("or") << QByteArray("{pop 17 5 or}") << 21.0;
    QTest::newRow("xor") << QByteArray("{pop 7 3 xor}") << 4.0;
    QTest::newRow("not of a number") << QByteArray("{pop 52 not}") << -53.0;
    QTest::newRow("not of a truth") << QByteArray("{pop true not {1} {2} ifelse}") << 2.0;
    QTest::newRow("if true") << QByteArray("{dup 0.2 gt {pop 5} if}") << 5.0;
    QTest::newRow("if false") << QByteArray("{dup 0.3 gt {pop 5} if}") << 0.25;
    QTest::newRow("ifelse") << QByteArray("{0.25 ne {5}{6} ifelse}") << 6.0;
    QTest::newRow("nested") << QByteArray("{0 gt {true {7}{8} ifelse}{9} ifelse}") << 7.0;
    QTest::newRow("le ge lt eq") << QByteArray("{pop 1 1 le 2 1 ge and 1 2 lt 3 3 eq and and {1}{0} ifelse}")
                                 << 1.0;
    QTest::newRow("copy") << QByteArray("{pop 1 2 2 copy add add add}") << 6.0;
    QTest::newRow("index") << QByteArray("{pop 5 6 7 2 index exch pop exch pop exch pop}") << 5.0;
    QTest::newRow("roll up") << QByteArray("{pop 1 2 3 3 1 roll pop pop}") << 3.0;
    QTest::newRow("roll down") << QByteArray("{pop 1 2 3 3 -1 roll}") << 1.0;
    QTest::newRow("comment") << QByteArray("{ % one } two\n 1 add}") << 1.25;
}

void TestCalculator::computes()
{
    QFETCH(QByteArray, program);
    QFETCH(double, result);
    const double input = 0.25;
    double output = -1;
    Calculator(program.toStdString()).run(std::span(&input, 1), std::span(&output, 1));
    QCOMPARE(output, result);
}

void TestCalculator::refusesMalformedPrograms_data()
{
    QTest::addColumn<QByteArray>("program");
    QTest::newRow("empty") << QByteArray();
    QTest::newRow("no brace") << QByteArray("1 add");
    QTest::newRow("not closed") << QByteArray("{1 add");
    QTest::newRow("unknown operator") << QByteArray("{1 addd}");
    QTest::newRow("a lone block") << QByteArray("{ {1} add }");
    QTest::newRow("ifelse with one block") << QByteArray("{ true {1} ifelse }");
    QTest::newRow("comment without end") << QByteArray("{ 1 % add");
    QTest::newRow("too deep") << QByteArray(200, '{');
}

void TestCalculator::refusesMalformedPrograms()
{
    QFETCH(QByteArray, program);
    QVERIFY_THROWS_EXCEPTION(std::runtime_error, Calculator(program.toStdString()));
}

void TestCalculator::refusesAnEmptyStack()
{
    double output = 0;
    for (const char *program : {"{add}", "{1 exch}", "{3 copy}", "{5 index}", "{9 1 roll}", "{pop}"})
        QVERIFY_THROWS_EXCEPTION(std::runtime_error, Calculator(program).run({}, std::span(&output, 1)));
}

void TestCalculator::refusesAFullStack()
{
    // Seven copies double one value to 128.
    const char *const program = "{1 1 copy 2 copy 4 copy 8 copy 16 copy 32 copy 64 copy}";
    double output = 0;
    QVERIFY_THROWS_EXCEPTION(std::runtime_error, Calculator(program).run({}, std::span(&output, 1)));
}

void TestCalculator::givesItsBodyBack()
{
    QCOMPARE(Calculator("{ dup 0 lt{pop 0}if % clip\n}").body(), std::string("dup 0 lt { pop 0 } if"));
}

QTEST_APPLESS_MAIN(TestCalculator)
#include "tst_calculator.moc"
