#include "engine/finish/finish.h"
#include "engine/job/failure.h"
#include "tests/pdf/handpdf.h"
#include "tests/pdf/judges.h"

#include <QTest>

#include <algorithm>
#include <optional>
#include <random>

using namespace Qt::StringLiterals;

/// How the engine reports what its module with the edits throws.
class TestFinish : public QObject
{
    Q_OBJECT

private slots:
    void aSoundPdfIsEdited();
    void aRefusalIsFinal_data();
    void aRefusalIsFinal();
    void aDamagedPdfMayBeRetried_data();
    void aDamagedPdfMayBeRetried();
    void aPdfOverTheMaximumIsRefused();
};

namespace
{

Job grayJob()
{
    Job job;
    job.grayscale = true;
    return job;
}

std::optional<Failure> failureOf(const QByteArray &pdf, const Job &job)
{
    try {
        JobRecord record;
        finishPdf(pdf, job, record);
        return std::nullopt;
    } catch (const Failure &failure) {
        return failure;
    }
}

} // namespace

void TestFinish::aSoundPdfIsEdited()
{
    JobRecord record;
    const QByteArray pdf = finishPdf(HandPdf().content("1 0 0 rg 0 0 9 9 re f").bytes(), grayJob(), record);
    QCOMPARE(JudgedPdf(pdf).complaints(), QByteArray());
    QCOMPARE(record.pages, 1);
}

void TestFinish::aRefusalIsFinal_data()
{
    QTest::addColumn<QByteArray>("pdf");
    QTest::addColumn<Job>("job");
    QTest::addColumn<QString>("reason");
    QTest::newRow("a colour of another kind")
        << HandPdf().content("0 0 0 1 k").bytes() << grayJob()
        << u"the browser wrote the operator k in its content, which cannot be turned gray: convert without "
           "--grayscale"_s;
    Job withoutLinks;
    withoutLinks.externalLinks = false;
    QTest::newRow("an action of another kind")
        << HandPdf().page("/AA << >>").bytes() << withoutLinks
        << u"the browser wrote /AA, which may lead out of the document: convert without "
           "--disable-external-links"_s;
}

void TestFinish::aRefusalIsFinal()
{
    QFETCH(QByteArray, pdf);
    QFETCH(Job, job);
    QFETCH(QString, reason);
    const std::optional<Failure> failure = failureOf(pdf, job);
    QVERIFY(failure);
    QCOMPARE(failure->message(), u"the printed PDF cannot be edited: "_s + reason);
    QCOMPARE(failure->code(), ExitCode::Crashed);
    QVERIFY(failure->isFinal());
}

void TestFinish::aDamagedPdfMayBeRetried_data()
{
    QTest::addColumn<QByteArray>("pdf");
    const QByteArray sound = HandPdf().content("0 g").bytes();
    QTest::newRow("no PDF") << QByteArray("no PDF at all");
    QTest::newRow("cut") << sound.left(30);
    HandPdf hand;
    hand.addStream("/Type /XObject /Subtype /Form /BBox [0 0 1 1] /Filter /FlateDecode", "not compressed");
    QTest::newRow("a stream that cannot be decoded")
        << hand.content("/F Do", "/XObject << /F 5 0 R >>").bytes();
}

void TestFinish::aDamagedPdfMayBeRetried()
{
    QFETCH(QByteArray, pdf);
    const std::optional<Failure> failure = failureOf(pdf, grayJob());
    QVERIFY(failure);
    QVERIFY2(failure->message().startsWith(u"the printed PDF cannot be read: "_s),
             qPrintable(failure->message()));
    QCOMPARE(failure->code(), ExitCode::Crashed);
    QVERIFY(!failure->isFinal());
}

void TestFinish::aPdfOverTheMaximumIsRefused()
{
    Job job;
    job.maximumOutput = 1;
    const auto pdfOf = [](qsizetype bytes) {
        QByteArray noise(bytes, '\0');
        std::minstd_rand random;
        std::generate(noise.begin(), noise.end(), [&] { return static_cast<char>(random() >> 8U); });
        HandPdf hand = HandPdf().content("/F Do", "/XObject << /F 5 0 R >>");
        hand.addStream("/Type /XObject /Subtype /Form /BBox [0 0 1 1]", noise);
        return hand.bytes();
    };
    QVERIFY(!failureOf(pdfOf((1 << 20) - 4000), job));
    const std::optional<Failure> failure = failureOf(pdfOf(1 << 20), job);
    QVERIFY(failure);
    QCOMPARE(failure->code(), ExitCode::NotWritten);
    QVERIFY2(failure->message().contains(u"--max-output"_s), qPrintable(failure->message()));
}

QTEST_GUILESS_MAIN(TestFinish)
#include "tst_finish.moc"
