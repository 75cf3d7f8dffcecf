#include "tests/engine/serverfixture.h"
#include "tests/support/silentserver.h"
#include "tests/support/stress.h"
#include "tests/support/waiting.h"
#include "tests/support/webserver.h"

#include <QRegularExpression>
#include <QTest>

#include <algorithm>
#include <thread>

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

namespace
{

/// What pages of a PDF look like.
QList<QImage> pictures(const PdfFile &pdf)
{
    QList<QImage> result;
    const int pages = pdf.pages();
    for (int page = 1; page <= pages; ++page)
        result += pdf.picture(page, 50);
    return result;
}

/// The structure tree without the names of its elements, which are new each time.
QString structureOf(const PdfFile &pdf)
{
    return pdf.structure().remove(QRegularExpression(u"node\\d+"_s));
}

QStringList documentsToCompare()
{
    QStringList result;
    const QDir samples(QStringLiteral(QUIRELLE_SAMPLES));
    for (const QFileInfo &file : samples.entryInfoList({u"*.html"_s}, QDir::Files))
        result += file.filePath();
    return result;
}

} // namespace

/// Jobs of one warm server: the same results as without, and isolated from each other.
class ServerJobsTest : public ServerFixture
{
    Q_OBJECT

private slots:
    void jobsLeaveNothingForOthers();
    void jobsAtTheSameTimeDoNotMeet();
    void severalJobsAreDoneAtATime();
    void warmAndColdAreAlike_data();
    void warmAndColdAreAlike();
};

void ServerJobsTest::jobsLeaveNothingForOthers()
{
    const WebServer web("location / { expires max; }\n"
                        "location /closed/ { auth_basic realm; auth_basic_user_file users; }\n"
                        "location /sw/ { expires -1; }\n"
                        "location = /sw/who { return 200 server; }\n");
    web.write(u"users"_s, "");
    web.write(u"picture.svg"_s, "<svg xmlns='http://www.w3.org/2000/svg' width='9' height='9'/>");
    web.write(u"sw/worker.js"_s,
              "onfetch=e=>{if(e.request.url.endsWith('who'))e.respondWith(new Response('worker'))};"
              "oninstall=e=>skipWaiting();onactivate=e=>e.waitUntil(clients.claim())");
    // Says what it finds, and leaves all that it can. A request is under way until it is through.
    const SilentServer silent;
    web.write(
        u"sw/page.html"_s,
        "<!DOCTYPE html><img src=/picture.svg><p id=p><script>\n"
        "const hold=new AbortController();fetch('" +
            silent.address().toLatin1() +
            "',{mode:'no-cors',signal:hold.signal}).catch(()=>0);\n"
            "(async()=>{\n"
            "const found=[];\n"
            "found.push('cookie:'+document.cookie,'local:'+(localStorage.x||''),"
            "'session:'+(sessionStorage.x||''),'window:'+name);\n"
            "found.push('caches:'+(await caches.keys()).join());\n"
            "found.push('databases:'+(await indexedDB.databases()).map(d=>d.name).join());\n"
            "found.push('workers:'+(await navigator.serviceWorker.getRegistrations()).length);\n"
            "found.push('who:'+await (await fetch('who')).text());\n"
            "document.cookie='left=1;max-age=99999;path=/';localStorage.x='left';sessionStorage.x='left';"
            "name='left';await caches.open('left');indexedDB.open('left');\n"
            "await navigator.serviceWorker.register('worker.js');\n"
            "if(!navigator.serviceWorker.controller)await new Promise(d=>"
            "navigator.serviceWorker.oncontrollerchange=d);\n"
            "found.push('then:'+await (await fetch('who')).text());\n"
            "p.textContent=found.join(' ');hold.abort()})()</script>");
    const ProcessInfo server = warmUp();
    for (int i = 0; i < 3; ++i) {
        const Conversion conversion = m_engine->convert(web.address(u"/sw/page.html"_s));
        VERIFY_WRITTEN(conversion);
        QCOMPARE(conversion.pdf().text(), u"cookie: local: session: window: caches: databases: workers:0 "
                                          "who:server then:worker"_s);
        // Nothing comes out of an earlier job's cache.
        QCOMPARE(web.requests().filter(u"/picture.svg"_s).size(), i + 1);
    }
    QCOMPARE(m_engine->servers(), QList{server});
    QCOMPARE(browsersIn(descendantsOf(server.id)).size(), 1);
}

void ServerJobsTest::jobsAtTheSameTimeDoNotMeet()
{
    warmUp();
    const WebServer web({});
    SilentServer slow;
    web.write(u"first.html"_s, "<script>document.cookie='first=1';localStorage.x='first';"
                               "new BroadcastChannel('c').onmessage=e=>document.body.append(e.data)</script>"
                               "<p>first<img src='" +
                                   slow.address().toLatin1() + "'>");
    web.write(u"second.html"_s, "<p id=p>second<script>new BroadcastChannel('c').postMessage('heard');"
                                "p.append(document.cookie,localStorage.x||'')</script>");
    const QString output = m_engine->freshOutput();
    const auto first = m_engine->start({web.address(u"/first.html"_s), output});
    QVERIFY(!slow.awaitRequest().isNull());
    const Conversion second = m_engine->convert(web.address(u"/second.html"_s));
    VERIFY_WRITTEN(second);
    QCOMPARE(second.pdf().text(), u"second"_s);
    slow.answer("HTTP/1.0 404 Not here\r\n\r\n");
    slow.hangUp();
    QVERIFY(first->waitForFinished(20000));
    QCOMPARE(PdfFile(output).text(), u"first"_s);
}

void ServerJobsTest::severalJobsAreDoneAtATime()
{
    const ProcessInfo server = warmUp();
    const auto cores = std::max(std::thread::hardware_concurrency(), 1U);
    std::vector<std::unique_ptr<SilentServer>> pages;
    std::vector<std::unique_ptr<QProcess>> jobs;
    for (unsigned i = 0; i < cores; ++i) {
        pages.push_back(std::make_unique<SilentServer>());
        jobs.push_back(m_engine->start({pages.back()->address(), m_engine->freshOutput()}));
        QVERIFY(!pages.back()->awaitRequest().isNull());
        QCOMPARE(descendantsOf(jobs.back()->processId()).size(), 0);
    }
    // Each has a browser to itself.
    QCOMPARE(browsersIn(descendantsOf(server.id)).size(), static_cast<qsizetype>(cores));
    for (unsigned i = 0; i < cores; ++i) {
        pages[i]->answer("HTTP/1.0 200 OK\r\nContent-Type: text/html\r\n\r\nx");
        pages[i]->hangUp();
        QVERIFY(jobs[i]->waitForFinished(20000));
        QCOMPARE(jobs[i]->exitCode(), 0);
    }
}

void ServerJobsTest::warmAndColdAreAlike_data()
{
    QTest::addColumn<QString>("document");
    QTest::addColumn<QStringList>("options");
    for (const QString &document : isStressWanted() ? documentsToCompare() : documentsToCompare().first(2))
        QTest::newRow(qPrintable(QFileInfo(document).fileName())) << document << QStringList();
    const QString article = QStringLiteral(QUIRELLE_SAMPLES "/article.html");
    QTest::newRow("every option") << article
                                  << QStringList{u"--page-size"_s,
                                                 u"A5"_s,
                                                 u"--orientation"_s,
                                                 u"Landscape"_s,
                                                 u"--copies"_s,
                                                 u"2"_s,
                                                 u"--minimum-font-size"_s,
                                                 u"14"_s,
                                                 u"--title"_s,
                                                 u"T"_s,
                                                 u"--disable-external-links"_s,
                                                 u"--grayscale"_s,
                                                 u"--no-background"_s};
    QTest::newRow("without scripts and images")
        << article << QStringList{u"--disable-javascript"_s, u"--no-images"_s};
    QTest::newRow("low quality") << article << QStringList{u"--lowquality"_s};
}

void ServerJobsTest::warmAndColdAreAlike()
{
    QFETCH(QString, document);
    QFETCH(QStringList, options);
    m_engine->setIdleSeconds(0);
    const Conversion cold = m_engine->convert(document, options);
    m_engine->setIdleSeconds(30);
    const QStringList others{u"--copies"_s, u"3"_s, u"--title"_s, u"other"_s};
    VERIFY_WRITTEN(m_engine->convertText("<h1>another</h1><script>document.title='x'</script>", others));
    const Conversion warm = m_engine->convert(document, options);
    QCOMPARE(m_engine->servers().size(), 1);
    VERIFY_WRITTEN(cold);
    VERIFY_WRITTEN(warm);
    QCOMPARE(warm.pdf().text(), cold.pdf().text());
    QCOMPARE(warm.pdf().pageSizes(), cold.pdf().pageSizes());
    QCOMPARE(warm.pdf().documentTitle(), cold.pdf().documentTitle());
    QCOMPARE(structureOf(warm.pdf()), structureOf(cold.pdf()));
    QCOMPARE(warm.pdf().links(), cold.pdf().links());
    QCOMPARE(warm.pdf().outline(), cold.pdf().outline());
    QCOMPARE(warm.pdf().fonts(), cold.pdf().fonts());
    QCOMPARE(warm.pdf().images(), cold.pdf().images());
    QCOMPARE(pictures(warm.pdf()), pictures(cold.pdf()));
}

QTEST_GUILESS_MAIN(ServerJobsTest)
#include "tst_serverjobs.moc"
