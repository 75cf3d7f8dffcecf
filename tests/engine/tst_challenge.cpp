#include "engine/page/challenge.h"

#include <QTest>

using namespace Qt::StringLiterals;

class ChallengeTest : public QObject
{
    Q_OBJECT

private slots:
    void challengesAreFound_data();
    void challengesAreFound();
    void parametersAreRead();
    void basic();
    void digestsOfTheStandard_data();
    void digestsOfTheStandard();
    void digestWithoutACount();
    void digestOfASession();
    void signsAreQuoted();
};

void ChallengeTest::challengesAreFound_data()
{
    QTest::addColumn<QByteArrayList>("headers");
    QTest::addColumn<QString>("found");
    const auto row = [](const char *name, const QByteArrayList &headers, const QString &found) {
        QTest::newRow(name) << headers << found;
    };
    row("none", {}, {});
    row("empty", {""}, {});
    row("basic", {"Basic realm=\"x\""}, u"basic"_s);
    row("basic without a realm", {"basic"}, u"basic"_s);
    row("digest", {"Digest realm=\"x\", nonce=\"n\""}, u"digest"_s);
    row("the stronger, in two headers", {"Basic realm=x", "Digest realm=\"x\", nonce=\"n\""}, u"digest"_s);
    row("the stronger, in one", {"Basic realm=\"x\", Digest realm=\"x\", nonce=n, qop=\"auth\""},
        u"digest"_s);
    row("the stronger first", {"DIGEST nonce=n, Basic realm=x"}, u"digest"_s);
    row("with another before", {"Negotiate, NTLM, Basic realm=\"x\""}, u"basic"_s);
    row("with another's parameters", {"Bearer realm=\"x, Basic\", error=e, Basic realm=y"}, u"basic"_s);
    row("with another's token", {"Negotiate abc==, Basic realm=\"x\""}, u"basic"_s);
    row("others", {"Bearer realm=x", "NTLM", "Negotiate"}, {});
    row("a name within a text", {"Bearer realm=\"Basic realm=x\""}, {});
    row("digest without a nonce", {"Digest realm=\"x\""}, {});
    row("an unknown algorithm", {"Digest realm=x, nonce=n, algorithm=MD4"}, {});
    row("an unknown algorithm, and basic", {"Digest nonce=n, algorithm=MD4, Basic realm=x"}, u"basic"_s);
    row("the body to be proven", {"Digest realm=x, nonce=n, qop=\"auth-int\""}, {});
    row("the body to be proven or not", {"Digest nonce=n, qop=\"auth-int, auth\""}, u"digest"_s);
    row("an open quotation", {"Basic realm=\"x"}, u"basic"_s);
    row("nonsense", {"=,\"\\\" = ,,"}, {});
}

void ChallengeTest::challengesAreFound()
{
    QFETCH(QByteArrayList, headers);
    QFETCH(QString, found);
    const std::optional<Challenge> challenge = challengeIn(headers);
    QCOMPARE(!challenge                                      ? QString()
             : challenge->scheme == Challenge::Scheme::Basic ? u"basic"_s
                                                             : u"digest"_s,
             found);
}

void ChallengeTest::parametersAreRead()
{
    const auto challenge =
        challengeIn({R"(Digest Realm="a \"b\" \\, c" ,nonce = n==,	opaque="",stale=TRUE)"});
    QVERIFY(challenge);
    QCOMPARE(challenge->parameters["realm"], QByteArray("a \"b\" \\, c"));
    QCOMPARE(challenge->parameters["nonce"], QByteArray("n=="));
    QCOMPARE(challenge->parameters["opaque"], QByteArray(""));
    QCOMPARE(challenge->parameters["stale"], QByteArray("TRUE"));
}

void ChallengeTest::basic()
{
    const auto challenge = challengeIn({"Basic realm=x"});
    // RFC 7617, 2 and 2.1.
    QCOMPARE(authorizationFor(*challenge, {u"Aladdin"_s, u"open sesame"_s}, "GET", "/", 1, {}),
             QByteArray("Basic QWxhZGRpbjpvcGVuIHNlc2FtZQ=="));
    QCOMPARE(authorizationFor(*challenge, {u"test"_s, u"123\u00a3"_s}, "GET", "/", 1, {}),
             QByteArray("Basic dGVzdDoxMjPCow=="));
}

void ChallengeTest::digestsOfTheStandard_data()
{
    QTest::addColumn<QByteArray>("algorithm");
    QTest::addColumn<QByteArray>("response");
    // RFC 7616, 3.9.1.
    QTest::newRow("MD5") << QByteArray("MD5") << QByteArray("8ca523f5e9506fed4657c9700eebdbec");
    QTest::newRow("SHA-256") << QByteArray("SHA-256")
                             << QByteArray(
                                    "753927fa0e85d155564e2e272a28d1802ca10daf4496794697cf8db5856cb6c1");
}

void ChallengeTest::digestsOfTheStandard()
{
    QFETCH(QByteArray, algorithm);
    QFETCH(QByteArray, response);
    const auto challenge = challengeIn(
        {"Digest realm=\"http-auth@example.org\", qop=\"auth, auth-int\", algorithm=" + algorithm +
         ", nonce=\"7ypf/xlj9XXwfDPEoM4URrv/xwf94BcCAzFZH4GiTo0v\", "
         "opaque=\"FQhe/qaU925kfnzjCev0ciny7QMkPqMAFRtzCUYo5tdS\""});
    QVERIFY(challenge);
    QCOMPARE(authorizationFor(*challenge, {u"Mufasa"_s, u"Circle of Life"_s}, "GET", "/dir/index.html", 1,
                              "f2/wE4q74E6zIJEtWaHKaf5wv/H5QzzpXusqGemxURZJ"),
             "Digest username=\"Mufasa\", realm=\"http-auth@example.org\", "
             "nonce=\"7ypf/xlj9XXwfDPEoM4URrv/xwf94BcCAzFZH4GiTo0v\", uri=\"/dir/index.html\", response=\"" +
                 response + "\", algorithm=" + algorithm +
                 ", opaque=\"FQhe/qaU925kfnzjCev0ciny7QMkPqMAFRtzCUYo5tdS\", qop=auth, nc=00000001, "
                 "cnonce=\"f2/wE4q74E6zIJEtWaHKaf5wv/H5QzzpXusqGemxURZJ\"");
}

void ChallengeTest::digestWithoutACount()
{
    // RFC 2069, 2.4, with the response of its erratum.
    const auto challenge = challengeIn({"Digest realm=\"testrealm@host.com\", "
                                        "nonce=\"dcd98b7102dd2f0e8b11d0f600bfb0c093\", "
                                        "opaque=\"5ccc069c403ebaf9f0171e9517f40e41\""});
    QVERIFY(challenge);
    QCOMPARE(authorizationFor(*challenge, {u"Mufasa"_s, u"CircleOfLife"_s}, "GET", "/dir/index.html", 7, "c"),
             QByteArray("Digest username=\"Mufasa\", realm=\"testrealm@host.com\", "
                        "nonce=\"dcd98b7102dd2f0e8b11d0f600bfb0c093\", uri=\"/dir/index.html\", "
                        "response=\"1949323746fe6a43ef61f9606e7febea\", "
                        "opaque=\"5ccc069c403ebaf9f0171e9517f40e41\""));
}

void ChallengeTest::digestOfASession()
{
    const auto challenge = challengeIn({"Digest realm=r, nonce=n, qop=auth, algorithm=MD5-sess"});
    QVERIFY(challenge);
    const QByteArray value = authorizationFor(*challenge, {u"u"_s, u"p"_s}, "POST", "/a?b", 16, "c");
    // printf 'MD5(MD5(u:r:p):n:c):n:00000010:c:auth:MD5(POST:/a?b)', with md5sum for each MD5.
    QVERIFY2(value.contains("response=\"bce4b8788b94077732103c072b08f7df\""), value.constData());
    QVERIFY2(value.contains("nc=00000010"), value.constData());
}

void ChallengeTest::signsAreQuoted()
{
    const auto challenge = challengeIn({R"(Digest realm="a \"b\"", nonce=n)"});
    const QByteArray value = authorizationFor(*challenge, {u"q\"\\"_s, {}}, "GET", "/", 1, "c");
    QVERIFY2(value.startsWith("Digest username=\"q\\\"\\\\\", realm=\"a \\\"b\\\"\""), value.constData());
}

QTEST_GUILESS_MAIN(ChallengeTest)
#include "tst_challenge.moc"
