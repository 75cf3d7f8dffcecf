#include "engine/main/secrets.h"
#include "tests/support/invocation.h"

#include <QTest>

#include <cstdlib>

using namespace Qt::StringLiterals;

/// What lists of processes show of the program's arguments and environment, and what it makes of them itself.
class SecretsTest : public QObject
{
    Q_OBJECT

private slots:
    void secretsAreKnown_data();
    void secretsAreKnown();
    void argumentsAreTakenAndBlanked();
    void variablesAreTakenAndBlanked();
    void anEmptyVariableIsNone();
};

void SecretsTest::secretsAreKnown_data()
{
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<QList<bool>>("secrets");
    QTest::newRow("none") << QStringList{u"--title"_s, u"a"_s, u"in"_s} << QList<bool>{false, false, false};
    QTest::newRow("name, password and proxy")
        << QStringList{u"--username"_s, u"a"_s, u"--password"_s, u"b"_s, u"-p"_s, u"c"_s}
        << QList<bool>{false, true, false, true, false, true};
    QTest::newRow("a title that is an option") << QStringList{u"--title"_s, u"-p"_s, u"--password"_s, u"a"_s}
                                               << QList<bool>{false, false, false, true};
    QTest::newRow("addresses") << QStringList{u"http://a:b@c"_s, u"a:b@c"_s, u"http://c"_s}
                               << QList<bool>{true, true, false};
    QTest::newRow("after the options' end")
        << QStringList{u"--"_s, u"--password"_s, u"a"_s} << QList<bool>{false, false, false};
    QTest::newRow("a value that is missing") << QStringList{u"--password"_s} << QList<bool>{false};
    QTest::newRow("values joined on")
        << QStringList{u"--password=a"_s, u"--usernameb"_s, u"-pc"_s, u"--title=d"_s}
        << QList<bool>{true, true, true, false};
    QTest::newRow("a value that is an option")
        << QStringList{u"--password"_s, u"--password"_s, u"a"_s} << QList<bool>{false, true, false};
    QTest::newRow("an address of any kind")
        << QStringList{u"//a@b/"_s, u"http:\\a:b@c"_s} << QList<bool>{true, true};
    QTest::newRow("a very long password")
        << QStringList{u"--password"_s, QString(100000, u'x')} << QList<bool>{false, true};
    QTest::newRow("empty values") << QStringList{u"--password"_s, u""_s, u"-p"_s, u""_s, u""_s}
                                  << QList<bool>{false, true, false, true, false};
    QTest::newRow("options given again") << QStringList{u"--password"_s, u"a"_s, u"--password"_s, u"b"_s}
                                         << QList<bool>{false, true, false, true};
    QTest::newRow("a value that ends the options")
        << QStringList{u"--title"_s, u"--"_s, u"--password"_s, u"a"_s}
        << QList<bool>{false, false, false, true};
    QTest::newRow("an address as a value that is none")
        << QStringList{u"--title"_s, u"a:b@c"_s} << QList<bool>{false, false};
}

void SecretsTest::secretsAreKnown()
{
    QFETCH(QStringList, arguments);
    QFETCH(QList<bool>, secrets);
    const std::vector<bool> found = secretArguments(invocationOf(arguments).arguments);
    QCOMPARE(QList<bool>(found.begin(), found.end()), secrets);
}

void SecretsTest::argumentsAreTakenAndBlanked()
{
    QByteArrayList texts{"quirelle", "--password", "hunter2", "--title", "t\xff", "in", "http://a:b@c"};
    std::vector<char *> argv;
    for (QByteArray &text : texts)
        argv.push_back(text.data());
    const Invocation invocation = takeInvocation(static_cast<int>(argv.size()), argv.data());
    QCOMPARE(texts,
             (QByteArrayList{"quirelle", "--password", "*******", "--title", "t\xff", "in", "************"}));
    QVERIFY(invocation.arguments ==
            (std::vector<std::string>{"--password", "hunter2", "--title", "t\xff", "in", "http://a:b@c"}));
    QVERIFY(invocation.variables.empty());
    QVERIFY(!invocation.folder.empty());
    // Some callers give not even a name.
    QVERIFY(takeInvocation(0, nullptr).arguments.empty());
}

void SecretsTest::variablesAreTakenAndBlanked()
{
    char text[] = "QUIRELLE_PASSWORD=hunter2";
    QCOMPARE(::putenv(text), 0);
    qputenv("QUIRELLE_PROXY", "socks5://host");
    const Invocation invocation = takeInvocation(0, nullptr);
    QCOMPARE(QByteArray(text), QByteArray("QUIRELLE_PASSWORD=*******"));
    QVERIFY(invocation.variables ==
            (std::vector<std::pair<std::string, std::string>>{{"QUIRELLE_PASSWORD", "hunter2"},
                                                              {"QUIRELLE_PROXY", "socks5://host"}}));
    QVERIFY(!::getenv("QUIRELLE_PASSWORD") && !::getenv("QUIRELLE_PROXY"));
}

void SecretsTest::anEmptyVariableIsNone()
{
    qputenv("QUIRELLE_USERNAME", "");
    QVERIFY(takeInvocation(0, nullptr).variables.empty());
    QVERIFY(!::getenv("QUIRELLE_USERNAME"));
}

QTEST_GUILESS_MAIN(SecretsTest)
#include "tst_secrets.moc"
