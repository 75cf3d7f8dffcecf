#include "tests/support/engine.h"
#include "tests/support/pictures.h"
#include "tests/support/silentserver.h"
#include "tests/support/webserver.h"

#include <QCryptographicHash>
#include <QRegularExpression>
#include <QTest>
#include <QUrl>

using namespace Qt::StringLiterals;

namespace
{

struct Started {
    QByteArray name;
    std::unique_ptr<QProcess> process;
    QString output;
};

/// Whether the row is about animations, and the browser draws by itself: in real time, not in the page's.
/// What follows from their ends may then come too late.
bool mayComeTooLate()
{
    static const QByteArrayList rows{
        "transitions one after another",         "transitions one after another, from the beginning",
        "delayed transitions one after another", "animations one after another",
        "animations that change no layout",      "what an animation of 1s ends with"};
    return Engine::usesFullBrowser() && rows.contains(QTest::currentDataTag());
}

} // namespace

/// Pages that are built by scripts, and pages whose scripts never end.
class ConvertScriptTest : public QObject
{
    Q_OBJECT

private slots:
    void whatTimeBrings_data();
    void whatTimeBrings();
    void whatTheBrowserDoesForThePage_data();
    void whatTheBrowserDoesForThePage();
    void whatIsDoneWhileARequestLasts();
    void whatIsDoneAfterASlowAnswer();
    void whatALaterDocumentWatches();
    void scriptsThatAreGone_data();
    void scriptsThatAreGone();
    void workers_data();
    void workers();
    void whatIsDoneInTurns_data();
    void whatIsDoneInTurns();
    void theViewHasItsUsualSize_data();
    void theViewHasItsUsualSize();
    void whatComesIntoView_data();
    void whatComesIntoView();
    void aDrawingOfWebGlIsKept_data();
    void aDrawingOfWebGlIsKept();
    void thePageThatAsksToBePrintedIsPrinted_data();
    void thePageThatAsksToBePrintedIsPrinted();
    void whatServersPush_data();
    void whatServersPush();
    void dialogsAreDismissed_data();
    void dialogsAreDismissed();
    void pagesThatGoOnForEverArePrintedAsTheyAre();
    void pagesThatComputeForEverArePrinted();
    void cleanupTestCase();

private:
    Engine m_engine;
};

void ConvertScriptTest::whatTimeBrings_data()
{
    QTest::addColumn<QByteArray>("html");
    QTest::addColumn<QString>("text");
    const auto row = [](const char *name, const QByteArray &script, const QString &text) {
        QTest::newRow(name) << "<!DOCTYPE html><p id=p>begin<script>" + script + "</script>" << text;
    };
    row("a script", "p.append(' built')", u"begin built"_s);
    row("the load event", "onload=()=>p.append(' built')", u"begin built"_s);
    row("a promise", "Promise.resolve().then(()=>p.append(' built'))", u"begin built"_s);
    row("a timer", "setTimeout(()=>p.append(' built'),100)", u"begin built"_s);
    row("a timer of almost five seconds", "onload=()=>setTimeout(()=>p.append(' built'),4500)",
        u"begin built"_s);
    row("a timer of an hour", "setTimeout(()=>p.append(' too late'),3600000)", u"begin"_s);
    row("a chain of timers",
        "let n=0;const next=()=>{p.append(' '+ ++n);if(n<40)setTimeout(next,100)};next()",
        u"begin 1 2 3 4 5 6 7 8 9 10 11 12 13 14 15 16 17 18 19 20 21 22 23 24 25 26 27 28 29 30 31 32 33 34 35 36 37 38 39 40"_s);
    row("an interval", "let n=0;const i=setInterval(()=>{p.append(' '+ ++n);if(n==4)clearInterval(i)},1000)",
        u"begin 1 2 3 4"_s);
    row("animation frames",
        "let n=0;const f=()=>{if(++n<60)requestAnimationFrame(f);else p.append(' "
        "built')};requestAnimationFrame(f)",
        u"begin built"_s);
    row("an idle callback", "requestIdleCallback(()=>p.append(' built'))", u"begin built"_s);
    row("an idle callback that begins late",
        "setTimeout(()=>requestIdleCallback(()=>p.append(' built')),300)", u"begin built"_s);
    row("idle callbacks that use their time",
        "let n=0;const work=d=>{while(d.timeRemaining()>0&&n<3000)++n;"
        "n<3000?requestIdleCallback(work):p.append(' built')};requestIdleCallback(work)",
        u"begin built"_s);
    row("an idle callback that is taken back",
        "cancelIdleCallback(requestIdleCallback(()=>p.append(' built')))", u"begin"_s);
    row("a worker",
        "const w=new Worker(URL.createObjectURL(new Blob(['setTimeout(()=>postMessage(\"built\"),500)'])));"
        "w.onmessage=e=>p.append(' '+e.data)",
        u"begin built"_s);
    row("a transition",
        "p.style.transition='opacity 1s';p.ontransitionend=()=>p.append(' built');"
        "requestAnimationFrame(()=>requestAnimationFrame(()=>p.style.opacity=.5))",
        u"begin built"_s);
    row("an observer of what is in view",
        "const d=document.createElement('div');d.style='height:100px';document.body.append(d);"
        "new IntersectionObserver(()=>p.append(' built')).observe(p)",
        u"begin built"_s);
    row("a late observer of what is in view",
        "setTimeout(()=>new IntersectionObserver(()=>p.append(' built')).observe(p),200)", u"begin built"_s);
    row("an observer of sizes", "new ResizeObserver((e,o)=>{o.disconnect();p.append(' built')}).observe(p)",
        u"begin built"_s);
    row("a late observer of sizes",
        "setTimeout(()=>new ResizeObserver((e,o)=>{o.disconnect();p.append(' built')}).observe(p),200)",
        u"begin built"_s);
    row("scrolling",
        "document.body.style.height='5000px';onscroll=()=>{onscroll=null;p.append(' built')};"
        "setTimeout(()=>scrollTo(0,500),200)",
        u"begin built"_s);
    row("a transition of views", "setTimeout(()=>document.startViewTransition(()=>p.append(' built')),200)",
        u"begin built"_s);
    row("several transitions of views",
        "(async()=>{for(const t of [' first',' built'])await document.startViewTransition(()=>p.append(t))"
        ".finished})()",
        u"begin first built"_s);
    row("transitions one after another",
        "p.style.cssText='transition:width .4s;width:9px';let "
        "n=0;p.ontransitionend=()=>{if(++n<4)p.style.width="
        "9+n+'px';else p.append(' built')};setTimeout(()=>p.style.width='99px',300)",
        u"begin built"_s);
    row("transitions one after another, from the beginning",
        "p.style.cssText='transition:width .2s;width:9px';p.offsetWidth;let n=0;p.ontransitionend=()=>{"
        "if(++n<8)p.style.width=99+n*9+'px';else p.append(' built')};p.style.width='99px'",
        u"begin built"_s);
    row("short transitions one after another",
        "p.style.cssText='transition:width 20ms;width:9px';p.offsetWidth;let n=0;p.ontransitionend=()=>{"
        "if(++n<40)p.style.width=9+n+'px';else p.append(' built')};p.style.width='9.5px'",
        u"begin built"_s);
    row("delayed transitions one after another",
        "p.style.cssText='transition:width .1s .6s;width:9px';p.offsetWidth;let n=0;p.ontransitionend=()=>{"
        "if(++n<7)p.style.width=99+n*9+'px';else p.append(' built')};p.style.width='99px'",
        u"begin built"_s);
    row("an observer of sizes and a timer in turn",
        "let n=0;const o=new ResizeObserver(()=>{if(++n<60)setTimeout(()=>p.style.width=n*5+'px',16);else{"
        "o.disconnect();p.append(' built')}});o.observe(p)",
        u"begin built"_s);
    row("animations one after another",
        "(async()=>{for(let n=0;n<4;n++)await p.animate([{opacity:0},{opacity:1}],300).finished;p.append(' "
        "built')})()",
        u"begin built"_s);
    row("the end of scrolling smoothly",
        "document.body.style.height='9000px';onscrollend=()=>{onscrollend=null;p.append(' built')};"
        "setTimeout(()=>scrollTo({top:5000,behavior:'smooth'}),200)",
        u"begin built"_s);
    row("timers that are made of animation frames",
        "setTimeout=(f)=>requestAnimationFrame(f);setTimeout(()=>p.append(' built'))", u"begin built"_s);
    row("animation frames of a worker",
        "const k=new Worker(URL.createObjectURL(new Blob([`let n=0;const "
        "f=()=>++n<10?requestAnimationFrame(f):"
        "postMessage(n);requestAnimationFrame(f)`])));k.onmessage=()=>p.append(' built')",
        u"begin built"_s);
    row("an observer of changes",
        "new MutationObserver((m,o)=>{o.disconnect();p.append(' built')}).observe(p,{childList:true});"
        "setTimeout(()=>p.append(' first'),50)",
        u"begin first built"_s);
    row("a message", "onmessage=()=>p.append(' built');postMessage(1,'*')", u"begin built"_s);
    row("a custom element",
        "customElements.define('x-y',class extends HTMLElement{connectedCallback(){setTimeout(()=>"
        "this.attachShadow({mode:'open'}).innerHTML='built',100)}});document.body.append(document."
        "createElement('x-y'))",
        u"begin built"_s);
    row("writing over the document",
        "setTimeout(()=>{document.open();document.write('<p>written');document.close()},500)", u"written"_s);
    row("beforeprint", "onbeforeprint=()=>p.append(' built')", u"begin built"_s);
    row("the media query for paper", "matchMedia('print').onchange=e=>{if(e.matches)p.append(' built')}",
        u"begin built"_s);
    row("an error", "setTimeout(()=>p.append(' built'),100);throw new Error('x')", u"begin built"_s);
    row("a rejected promise", "Promise.reject(1);setTimeout(()=>p.append(' built'),100)", u"begin built"_s);
    row("the end of the document", "addEventListener('DOMContentLoaded',()=>p.append(' built'))",
        u"begin built"_s);
    row("a page that removes its root", "setTimeout(()=>document.documentElement.remove(),100)", QString());
    row("a page that meddles with what is built in",
        "Array.prototype.filter=Array.prototype.map=()=>{throw "
        "1};JSON.stringify=null;Promise=null;p.append(' built')",
        u"begin built"_s);
}

void ConvertScriptTest::whatTimeBrings()
{
    QFETCH(QByteArray, html);
    QFETCH(QString, text);
    const Conversion conversion = m_engine.convertText(html);
    VERIFY_WRITTEN(conversion);
    if (mayComeTooLate() && conversion.pdf().text() != text)
        QSKIP("The browser draws by itself.");
    QCOMPARE(conversion.pdf().text(), text);
}

void ConvertScriptTest::whatTheBrowserDoesForThePage_data()
{
    QTest::addColumn<QByteArray>("work");
    const auto row = [](const char *name, const QByteArray &work) { QTest::newRow(name) << work; };
    row("a database", "const o=indexedDB.open('x',1);await new Promise(d=>{o.onsuccess=d;"
                      "o.onupgradeneeded=()=>o.result.createObjectStore('s')});"
                      "for(let i=0;i<9;++i){const t=o.result.transaction('s','readwrite');"
                      "t.objectStore('s').put(i,i);await new Promise(d=>t.oncomplete=d)}");
    row("a cache", "const c=await caches.open('x');for(let i=0;i<9;++i){"
                   "await c.put('/'+i,new Response('y'));await(await c.match('/'+i)).text()}");
    row("a file of its own",
        "const f=await(await navigator.storage.getDirectory()).getFileHandle('f',{create:true});"
        "const w=await f.createWritable();await w.write('x');await w.close();await(await "
        "f.getFile()).text()");
    row("a service worker",
        "await navigator.serviceWorker.register('w.js');await navigator.serviceWorker.getRegistrations()");
    row("a key from a password",
        "const k=await crypto.subtle.importKey('raw',new Uint8Array(9),'PBKDF2',false,['deriveBits']);"
        "await crypto.subtle.deriveBits({name:'PBKDF2',hash:'SHA-256',salt:new Uint8Array(9),"
        "iterations:600000},k,256)");
    row("a blob", "for(let i=0;i<9;++i)await new Blob(['x'.repeat(100000)]).text()");
    row("a reader", "for(let i=0;i<9;++i){const r=new FileReader;r.readAsText(new Blob(['x']));"
                    "await new Promise(d=>r.onload=d)}");
    row("a packed stream", "await new Response(new Blob(['x'.repeat(1000000)]).stream()"
                           ".pipeThrough(new CompressionStream('gzip'))).text()");
    row("a lock", "for(let i=0;i<9;++i)await navigator.locks.request('x',()=>1)");
    row("a picture of a canvas", "const c=document.createElement('canvas');c.width=c.height=4000;"
                                 "await new Promise(d=>c.toBlob(d));await createImageBitmap(c)");
    row("a picture of a kind",
        "const b=await new Promise(d=>document.createElement('canvas').toBlob(d,'image/jpeg',.5));"
        "if(b.type!='image/jpeg'||(await createImageBitmap(b)).width!=300)throw b.type");
    row("a picture of nothing", "const c=document.createElement('canvas');c.width=0;"
                                "if(await new Promise(d=>c.toBlob(d))!==null)throw 'made';"
                                "let refused=false;try{c.toBlob()}catch(e){refused=e instanceof TypeError}"
                                "if(!refused)throw 'taken'");
    row("a picture that may not be read",
        "const i=new Image;i.src='http://localhost:'+location.port+'/i.svg';await i.decode();"
        "const c=document.createElement('canvas');c.getContext('2d').drawImage(i,0,0);"
        "let refused=false;try{c.toBlob(()=>0)}catch{refused=true}if(!refused)throw 'read'");
    row("a program",
        "for(let i=0;i<9;++i)await WebAssembly.instantiate(new Uint8Array([0,97,115,109,1,0,0,0]))");
    row("sound", "await new OfflineAudioContext(1,441000,44100).startRendering()");
    row("a timer, then a database", "await new Promise(d=>setTimeout(d,1000));await indexedDB.databases();"
                                    "await new Promise(d=>setTimeout(d,500));await indexedDB.databases()");
    row("a shared worker", "const w=new SharedWorker('s.js');w.port.start();for(let i=0;i<3;++i){"
                           "w.port.postMessage(1);await new Promise(d=>w.port.onmessage=d)}");
    row("what is refused", "await caches.open('x').then(c=>c.add('nowhere')).catch(()=>0);"
                           "await navigator.mediaDevices.getUserMedia({video:true}).catch(()=>0)");
}

/// It takes real time, which a page's own does not stand for.
void ConvertScriptTest::whatTheBrowserDoesForThePage()
{
    QFETCH(QByteArray, work);
    const WebServer web({});
    web.write(u"w.js"_s, "");
    web.write(u"i.svg"_s, "<svg xmlns='http://www.w3.org/2000/svg' width='9' height='9'/>");
    web.write(u"s.js"_s,
              "onconnect=e=>{const p=e.ports[0];p.onmessage=()=>setTimeout(()=>p.postMessage(1),200)}");
    web.write(u"page.html"_s, "<!DOCTYPE html><p id=p>begin<script>(async()=>{" + work +
                                  "})().then(()=>p.append(' built'),e=>p.append(' '+e))</script>");
    const Conversion conversion = m_engine.convert(web.address(u"/page.html"_s));
    VERIFY_WRITTEN(conversion);
    QCOMPARE(conversion.pdf().text(), u"begin built"_s);
}

void ConvertScriptTest::whatIsDoneWhileARequestLasts()
{
    const WebServer web({});
    const SilentServer silent;
    web.write(u"page.html"_s,
              "<!DOCTYPE html><p id=p>begin<script>const hold=new AbortController;fetch('" +
                  silent.address().toLatin1() +
                  "',{mode:'no-cors',signal:hold.signal}).catch(()=>0);(async()=>{"
                  "for(let i=0;i<40;++i){await caches.open(i);await new Promise(d=>setTimeout(d,100))}"
                  "p.append(' built');hold.abort()})()</script>");
    const Conversion conversion = m_engine.convert(web.address(u"/page.html"_s));
    VERIFY_WRITTEN(conversion);
    QCOMPARE(conversion.pdf().text(), u"begin built"_s);
}

void ConvertScriptTest::whatIsDoneAfterASlowAnswer()
{
    const WebServer web("location /slow/ { limit_rate 1000; }");
    web.write(u"slow/data.json"_s, QByteArray(5000, ' ') + "1");
    web.write(u"page.html"_s,
              "<!DOCTYPE html><p id=p>begin<script>(async()=>{await(await fetch('slow/data.json')).json();"
              "for(let i=0;i<9;++i)await caches.open(i);for(let i=0;i<9;++i)await indexedDB.databases();"
              "p.append(' built')})()</script>");
    const Conversion conversion = m_engine.convert(web.address(u"/page.html"_s));
    VERIFY_WRITTEN(conversion);
    QCOMPARE(conversion.pdf().text(), u"begin built"_s);
}

/// What has been done for the document before does not count for it.
void ConvertScriptTest::whatALaterDocumentWatches()
{
    const WebServer web({});
    const QByteArray watch =
        "<!DOCTYPE html><p id=p>begin<div id=d style='margin-top:9000px'>end</div><script>"
        "new IntersectionObserver(e=>{if(e[0].isIntersecting)p.append(' built')}).observe(d)";
    web.write(u"page.html"_s, watch + ";setTimeout(()=>location='later.html',4900)</script>");
    web.write(u"later.html"_s, watch + "</script>");
    const Conversion conversion = m_engine.convert(web.address(u"/page.html"_s));
    VERIFY_WRITTEN(conversion);
    QVERIFY(conversion.pdf().text().startsWith(u"begin built"_s));
}

void ConvertScriptTest::scriptsThatAreGone_data()
{
    QTest::addColumn<QByteArray>("html");
    const auto row = [](const char *name, const QByteArray &html) {
        QTest::newRow(name) << "<!DOCTYPE html>" + html;
    };
    const QByteArray late = "setTimeout(()=>document.querySelector('#q').append(' built'),300)";
    row("a script that removes itself",
        "<p id=q>begin<script>document.currentScript.remove();" + late + "</script>");
    row("a module that defines elements",
        "<p id=q>begin<script type=module>document.querySelector('script').remove();"
        "customElements.define('x-a',class extends HTMLElement{connectedCallback(){" +
            late +
            "}});"
            "document.body.append(document.createElement('x-a'))</script>");
    row("a body that is replaced",
        "<body><script>onload=()=>{const b=document.createElement('body');b.innerHTML='<p id=q>begin';"
        "document.body.replaceWith(b);" +
            late + "}</script>");
    row("a root that is replaced",
        "<body><script>onload=()=>{const h=document.createElement('html');h.innerHTML='<body><p id=q>begin';"
        "document.documentElement.replaceWith(h);" +
            late + "}</script>");
    row("an attribute that rebuilds the body",
        "<body onload=\"document.body.innerHTML='<p id=q>begin';" + late + "\">");
    row("an attribute that rebuilds everything",
        "<body onload=\"document.documentElement.innerHTML='<body><p id=q>begin';" + late + "\">");
    row("a document that is opened",
        "<body><script>onload=()=>{document.open();document.write('<p id=q>begin');document.close();" + late +
            "}</script>");
    row("a document that is opened late, and works elsewhere",
        "<body><script>setTimeout(()=>{document.open();document.write('<p id=q>begin');document.close();"
        "(async()=>{await new Blob(['x']).text();const w=new Worker(URL.createObjectURL(new "
        "Blob(['postMessage(1)'])));await new Promise(d=>w.onmessage=d);" +
            late + "})()},1500)</script>");
    row("an attribute for the end of an animation",
        "<style>@keyframes k{to{opacity:.9}}</style><p id=q style='animation:k 1s' "
        "onanimationend=\"this.append(' built')\">begin");
}

/// Whether scripts have run is the question, not whether they still stand in the document.
void ConvertScriptTest::scriptsThatAreGone()
{
    QFETCH(QByteArray, html);
    const Conversion conversion = m_engine.convertText(html);
    VERIFY_WRITTEN(conversion);
    QCOMPARE(conversion.pdf().text(), u"begin built"_s);
}

void ConvertScriptTest::workers_data()
{
    QTest::addColumn<QByteArray>("worker");
    QTest::addColumn<QString>("text");
    const QString built = u"begin built"_s;
    QTest::newRow("one with a timer") << QByteArray("setTimeout(()=>postMessage(1),3000)") << built;
    QTest::newRow("one that computes")
        << QByteArray("const t=performance.now();while(performance.now()-t<1500);postMessage(1)") << built;
    QTest::newRow("one that fetches")
        << QByteArray(
               "fetch(origin+'/slow/data').then(r=>r.text()).then(()=>setTimeout(()=>postMessage(1),200))")
        << built;
    QTest::newRow("one with a worker of its own")
        << QByteArray(
               "const w=new Worker(URL.createObjectURL(new Blob(['setTimeout(()=>postMessage(1),700)'])));"
               "w.onmessage=()=>postMessage(1)")
        << built;
    QTest::newRow("one with a database")
        << QByteArray("indexedDB.open('x').onsuccess=()=>caches.open('y').then(()=>postMessage(1))") << built;
    QTest::newRow("a silent one") << QByteArray("onmessage=()=>0") << u"begin"_s;
    QTest::newRow("one that polls") << QByteArray("setInterval(()=>fetch(origin+'/page.html'),100)")
                                    << u"begin"_s;
}

void ConvertScriptTest::workers()
{
    QFETCH(QByteArray, worker);
    QFETCH(QString, text);
    WebServer web("location /slow/ { limit_rate 1000; }");
    web.write(u"slow/data"_s, QByteArray(1500, ' '));
    web.write(u"page.html"_s,
              "<!DOCTYPE html><p id=p>begin<script>const w=new Worker(URL.createObjectURL(new Blob(["
              "`const origin='${location.origin}';`+" +
                  QByteArray("String.raw`") + worker +
                  "`])));w.onmessage=()=>{w.onmessage=null;p.append(' built')}</script>");
    const Conversion conversion = m_engine.convert(web.address(u"/page.html"_s));
    VERIFY_WRITTEN(conversion);
    QCOMPARE(conversion.pdf().text(), text);
}

void ConvertScriptTest::whatIsDoneInTurns_data()
{
    QTest::addColumn<QByteArray>("work");
    QTest::newRow("storage and timers")
        << QByteArray("for(let i=0;i<12;++i){await caches.open(i);await new Promise(d=>setTimeout(d,100))}");
    // Page time that passed meanwhile would end it.
    QTest::newRow("work against a timeout") << QByteArray(
        "const k=await crypto.subtle.importKey('raw',new Uint8Array(9),'PBKDF2',false,['deriveBits']);"
        "await Promise.race([crypto.subtle.deriveBits({name:'PBKDF2',hash:'SHA-256',salt:new Uint8Array(9),"
        "iterations:600000},k,256),new Promise((d,e)=>setTimeout(e,3000,'timeout'))])");
    QTest::newRow("late work against a timeout")
        << QByteArray("await new Promise(d=>setTimeout(d,500));const o=indexedDB.open('y');"
                      "await Promise.race([new Promise(d=>o.onsuccess=d),new "
                      "Promise((d,e)=>setTimeout(e,2000,'timeout'))])");
    QTest::newRow("requests and timers")
        << QByteArray("for(let i=0;i<5;++i){await(await fetch('page.html')).text();await new "
                      "Promise(d=>setTimeout(d,700))}");
}

void ConvertScriptTest::whatIsDoneInTurns()
{
    QFETCH(QByteArray, work);
    const WebServer web({});
    web.write(u"page.html"_s, "<!DOCTYPE html><p id=p>begin<script>(async()=>{" + work +
                                  "})().then(()=>p.append(' built'),e=>p.append(' '+e))</script>");
    const Conversion conversion = m_engine.convert(web.address(u"/page.html"_s));
    VERIFY_WRITTEN(conversion);
    QCOMPARE(conversion.pdf().text(), u"begin built"_s);
}

void ConvertScriptTest::theViewHasItsUsualSize_data()
{
    QTest::addColumn<QByteArray>("script");
    // All print what they have come to, in CSS pixels; a view on A4 is 1047 high.
    QTest::newRow("a chart of half the view, made when it comes into view")
        << QByteArray("new "
                      "IntersectionObserver((e,o)=>{if(e[0].isIntersecting){o.disconnect();r.textContent="
                      "innerHeight}}).observe(c)");
    QTest::newRow("a chart that follows its box, a while later")
        << QByteArray("let t;new "
                      "ResizeObserver(()=>{clearTimeout(t);t=setTimeout(()=>{r.textContent=2*c.clientHeight},"
                      "300)}).observe(c)");
    QTest::newRow("a chart drawn on resize, a while later")
        << QByteArray("const d=()=>{r.textContent=innerHeight};d();let "
                      "t;onresize=()=>{clearTimeout(t);t=setTimeout(d,900)}");
    QTest::newRow("a chart drawn once") << QByteArray("onload=()=>{r.textContent=innerHeight}");
    QTest::newRow("what only grows") << QByteArray("let n=0;const "
                                                   "d=()=>{n=Math.max(n,innerHeight,2*c.clientHeight);r."
                                                   "textContent=n};d();onresize=d;setInterval(d,50)");
}

void ConvertScriptTest::theViewHasItsUsualSize()
{
    QFETCH(QByteArray, script);
    const Conversion conversion =
        m_engine.convertText("<!DOCTYPE html><style>#c{height:50vh}</style><p id=r>-</p><div "
                             "style='height:8000px'></div><div id=c></div>"
                             "<script>" +
                             script + "</script>");
    VERIFY_WRITTEN(conversion);
    const int height = conversion.pdf().text().trimmed().toInt();
    QVERIFY2(qAbs(height - 1047) <= 2, qPrintable(conversion.pdf().text()));
    // Half a view more than the rest.
    QCOMPARE(conversion.pdf().pages(), 9);
}

void ConvertScriptTest::whatComesIntoView_data()
{
    QTest::addColumn<QByteArray>("script");
    QTest::newRow("by an observer") << QByteArray(
        "let n=0;const o=new IntersectionObserver(es=>{for(const e of "
        "es)if(e.isIntersecting){o.unobserve(e.target);"
        "++n;if(n==9)p.append(' built')}});for(const d of document.querySelectorAll('div'))o.observe(d)");
    QTest::newRow("by scrolling") << QByteArray(
        "onscroll=()=>{if(scrollY>4000){onscroll=null;p.append(' built')}}");
    for (const char *time : {"1s", "3s"})
        QTest::addRow("what an animation of %s ends with", time)
            << "last.addEventListener('animationend',()=>p.append(' built'));"
               "document.head.append(document.createElement('style'));"
               "document.querySelector('style').append('@keyframes k{to{opacity:.5}}.k{animation:k " +
                   QByteArray(time) +
                   "}');"
                   "new IntersectionObserver((e,o)=>{if(e[0].isIntersecting){o.disconnect();"
                   "last.className='k'}}).observe(last)";
    QTest::newRow("animations that change no layout")
        << QByteArray("new IntersectionObserver((e,o)=>{if(e[0].isIntersecting){o.disconnect();"
                      "const fade=(time,delay)=>last.animate({opacity:[0,1]},{duration:time,delay}).finished;"
                      "fade(2500,500).then(()=>fade(1500,0)).then(()=>p.append(' built'))}}).observe(last)");
    QTest::newRow("one thing after another")
        << QByteArray("new IntersectionObserver(async(e,o)=>{if(e[0].isIntersecting){o.disconnect();"
                      "for(let i=0;i<9;++i){await new Promise(d=>setTimeout(d,400));"
                      "await new Promise(requestAnimationFrame)}p.append(' built')}}).observe(last)");
    QTest::newRow("a list that grows at its end")
        << QByteArray("let n=0;const o=new IntersectionObserver(e=>{if(e[0].isIntersecting&&++n<7){"
                      "last.before(document.createElement('div'));last.previousSibling.style.height='900px';"
                      "o.unobserve(last);o.observe(last);if(n==6)p.append(' built')}});o.observe(last)");
    QTest::newRow("a list that grows a while later, by scrolling")
        << QByteArray("let n=0,t;onscroll=()=>{if(n<5&&innerHeight+scrollY>document.body.scrollHeight-99){"
                      "clearTimeout(t);t=setTimeout(()=>{last.style.paddingTop=++n*900+'px';if(n==5)p.append("
                      "' built')},200)}}");
    QTest::newRow("at the end of a very long page") << QByteArray(
        "last.style.paddingTop='250000px';new IntersectionObserver(e=>{if(e[0].isIntersecting)"
        "p.append(' built')}).observe(document.body.appendChild(document.createElement('hr')))");
    QTest::newRow("by an observer that fetches")
        << QByteArray("new IntersectionObserver((e,o)=>{if(e[0].isIntersecting){o.disconnect();"
                      "setTimeout(()=>caches.open('x').catch(()=>0).then(()=>p.append(' "
                      "built')),500)}}).observe(document.querySelector('#last'))");
}

void ConvertScriptTest::whatComesIntoView()
{
    QFETCH(QByteArray, script);
    QByteArray boxes;
    for (int i = 0; i < 8; ++i)
        boxes += "<div style='height:900px'></div>";
    const Conversion conversion = m_engine.convertText("<!DOCTYPE html><p id=p>begin</p>" + boxes +
                                                       "<div id=last></div><script>" + script + "</script>");
    VERIFY_WRITTEN(conversion);
    if (mayComeTooLate() && conversion.pdf().text() != u"begin built"_s)
        QSKIP("The browser draws by itself.");
    QCOMPARE(conversion.pdf().text(), u"begin built"_s);
}

void ConvertScriptTest::aDrawingOfWebGlIsKept_data()
{
    QTest::addColumn<QByteArray>("script");
    const QByteArray draw =
        "const g=c.getContext('webgl');g.clearColor(0,.5,0,1);g.clear(g.COLOR_BUFFER_BIT)";
    QTest::newRow("on a canvas") << draw;
    QTest::newRow("on load") << "onload=()=>{" + draw + "}";
    QTest::newRow("with settings") << QByteArray(draw).replace("'webgl'", "'webgl',{alpha:false}");
    QTest::newRow("of the second kind") << QByteArray(draw).replace("'webgl'", "'webgl2'");
    QTest::newRow("on a canvas of another thread's kind")
        << "{const v=c.transferControlToOffscreen();{const c=v;" + draw + "}}";
    QTest::newRow("in a worker") << "const v=c.transferControlToOffscreen();new "
                                    "Worker(URL.createObjectURL(new Blob([`onmessage=e=>{const "
                                    "c=e.data;" +
                                        draw + "}`]))).postMessage(v,[v])";
}

void ConvertScriptTest::aDrawingOfWebGlIsKept()
{
    QFETCH(QByteArray, script);
    const Conversion conversion = m_engine.convertText(
        "<!DOCTYPE html><canvas id=c width=400 height=400></canvas><script>" + script + "</script>");
    VERIFY_WRITTEN(conversion);
    const QColor drawn = conversion.pdf().picture().pixelColor(150, 150);
    QVERIFY2(drawn.green() > 90 && drawn.red() < 60, qPrintable(drawn.name()));
}

void ConvertScriptTest::thePageThatAsksToBePrintedIsPrinted_data()
{
    QTest::addColumn<QByteArray>("html");
    QTest::newRow("on load, then leads on")
        << QByteArray("<body onload=print() onafterprint=\"location='other.html'\"><p>receipt");
    QTest::newRow("and leads on at once")
        << QByteArray("<p>receipt<script>onload=()=>{print();location='other.html'}</script>");
    QTest::newRow("and leads on a while later") << QByteArray(
        "<p>receipt<script>onload=()=>{print();setTimeout(()=>location.replace('other.html'),500)}</script>");
    QTest::newRow("a while after it is loaded")
        << QByteArray("<p>receipt<script>addEventListener('afterprint',()=>{location.href='other.html'});"
                      "setTimeout(()=>window.print(),800)</script>");
    QTest::newRow("and sends a form")
        << QByteArray("<form "
                      "action=other.html></"
                      "form><p>receipt<script>onload=()=>{print();document.forms[0].submit()}</script>");
    QTest::newRow("and clears itself") << QByteArray(
        "<p id=p>receipt<script>onafterprint=()=>{p.textContent='thanks'};onload=()=>print()</script>");
}

void ConvertScriptTest::thePageThatAsksToBePrintedIsPrinted()
{
    QFETCH(QByteArray, html);
    m_engine.write(u"other.html"_s, "<!DOCTYPE html><p>other");
    const Conversion conversion = m_engine.convertText("<!DOCTYPE html>" + html);
    VERIFY_WRITTEN(conversion);
    QCOMPARE(conversion.pdf().text(), u"receipt"_s);
}

void ConvertScriptTest::whatServersPush_data()
{
    QTest::addColumn<QByteArray>("script");
    QTest::addColumn<QByteArray>("push");
    QTest::newRow("events") << QByteArray("new EventSource('http://%1/').onmessage=e=>p.append(e.data)")
                            << QByteArray("data: built\n\n");
    // One frame of text (RFC 6455, 5.2).
    QTest::newRow("a web socket") << QByteArray("new WebSocket('ws://%1/').onmessage=e=>p.append(e.data)")
                                  << QByteArray("\x81\x05"
                                                "built");
}

void ConvertScriptTest::whatServersPush()
{
    QFETCH(QByteArray, script);
    QFETCH(QByteArray, push);
    SilentServer server;
    const QByteArray host = QUrl(server.address()).authority().toLatin1();
    const QString page = m_engine.write(u"page.html"_s, "<!DOCTYPE html><p id=p><script>" +
                                                            script.replace("%1", host) + "</script>");
    const QString output = m_engine.freshOutput();
    const auto engine = m_engine.start({page, output});
    const QByteArray request = server.awaitRequest();
    QVERIFY(!request.isNull());
    QTest::qWait(300);
    const QRegularExpressionMatch key =
        QRegularExpression(u"Sec-WebSocket-Key: *(\\S+)"_s).match(QString::fromLatin1(request));
    if (key.hasMatch()) {
        const QByteArray accept = QCryptographicHash::hash(
            key.captured(1).toLatin1() + "258EAFA5-E914-47DA-95CA-C5AB0DC85B11", QCryptographicHash::Sha1);
        server.answer("HTTP/1.1 101 Switching Protocols\r\nUpgrade: websocket\r\nConnection: Upgrade\r\n"
                      "Sec-WebSocket-Accept: " +
                      accept.toBase64() + "\r\n\r\n");
    } else {
        server.answer("HTTP/1.1 200 OK\r\nContent-Type: text/event-stream\r\n"
                      "Access-Control-Allow-Origin: *\r\n\r\n");
    }
    QTest::qWait(300);
    server.answer(push);
    QVERIFY(engine->waitForFinished(30000));
    QCOMPARE(engine->exitCode(), 0);
    QCOMPARE(PdfFile(output).text(), u"built"_s);
}

void ConvertScriptTest::dialogsAreDismissed_data()
{
    QTest::addColumn<QByteArray>("script");
    QTest::addColumn<QString>("text");
    QTest::newRow("alert") << QByteArray("alert('x');p.append(' after')") << u"begin after"_s;
    QTest::newRow("confirm") << QByteArray("p.append(' '+confirm('x'))") << u"begin false"_s;
    QTest::newRow("prompt") << QByteArray("p.append(' '+prompt('x','y'))") << u"begin null"_s;
    QTest::newRow("alert by a timer")
        << QByteArray("setTimeout(()=>{alert('x');p.append(' after')},1000)") << u"begin after"_s;
    QTest::newRow("alert on load") << QByteArray("onload=()=>{alert('x');p.append(' after')}")
                                   << u"begin after"_s;
    QTest::newRow("many alerts") << QByteArray("for(let i=0;i<50;++i)alert(i);p.append(' after')")
                                 << u"begin after"_s;
    QTest::newRow("alert in a frame")
        << QByteArray(
               "const f=document.createElement('iframe');f.srcdoc='<script>alert(1);parent.p.append(\" "
               "after\")<\\/script>';"
               "document.body.append(f)")
        << u"begin after"_s;
    QTest::newRow("alert before printing")
        << QByteArray("onbeforeprint=()=>{alert('x');p.append(' after')}") << u"begin after"_s;
    QTest::newRow("print") << QByteArray("print();p.append(' after')") << u"begin after"_s;
    QTest::newRow("close") << QByteArray("close();setTimeout(()=>p.append(' after'),500)")
                           << u"begin after"_s;
    QTest::newRow("close by a timer")
        << QByteArray("setTimeout(()=>{close();p.append(' after')},500)") << u"begin after"_s;
    QTest::newRow("beforeunload")
        << QByteArray("onbeforeunload=e=>{e.preventDefault();return 'x'};p.append(' after')")
        << u"begin after"_s;
    QTest::newRow("a window")
        << QByteArray("open('about:blank');open('https://example.invalid/');p.append(' after')")
        << u"begin after"_s;
    QTest::newRow("a window by a click") << QByteArray("const "
                                                       "a=document.createElement('a');a.href='about:blank';a."
                                                       "target='_blank';document.body.append(a);a.click();"
                                                       "p.append(' after')")
                                         << u"begin after"_s;
    QTest::newRow("a modal element") << QByteArray(
                                            "const d=document.createElement('dialog');d.textContent='modal';"
                                            "document.body.append(d);d.showModal()")
                                     << u"begin modal"_s;
    QTest::newRow("leave to notify")
        << QByteArray("if(self.Notification)Notification.requestPermission();"
                      "navigator.geolocation.getCurrentPosition(()=>{},()=>{});p.append(' after')")
        << u"begin after"_s;
    QTest::newRow("a download")
        << QByteArray("const a=document.createElement('a');a.href=URL.createObjectURL(new Blob(['x']));"
                      "a.download='downloaded';document.body.append(a);a.click();p.append(' after')")
        << u"begin after"_s;
    QTest::newRow("a mail program") << QByteArray("p.append(' after');location='mailto:a@example.org'")
                                    << u"begin after"_s;
    QTest::newRow("a halt") << QByteArray("p.append(' after');stop()") << u"begin after"_s;
    QTest::newRow("the whole screen")
        << QByteArray("document.body.requestFullscreen().catch(()=>{});p.append(' after')")
        << u"begin after"_s;
}

void ConvertScriptTest::dialogsAreDismissed()
{
    QFETCH(QByteArray, script);
    QFETCH(QString, text);
    const Conversion conversion = m_engine.convertText(
        "<!DOCTYPE html><p id=p>begin<script>" + script + "</script>", {u"--timeout"_s, u"25"_s});
    VERIFY_WRITTEN(conversion);
    QCOMPARE(conversion.pdf().text(), text);
    QVERIFY(!QFile::exists(m_engine.path(u"downloaded"_s)));
}

/// All at once, because each takes as long as the engine waits for a page.
void ConvertScriptTest::pagesThatGoOnForEverArePrintedAsTheyAre()
{
    WebServer server("location /endless/ { limit_rate 1; }");
    server.write(u"endless/picture.png"_s, plainPicture(Qt::red, {400, 400}) + QByteArray(20000, '.'));
    server.write(u"endless/script.js"_s, QByteArray(20000, ' '));
    server.write(u"endless/data.txt"_s, QByteArray(20000, ' '));
    server.write(u"part.txt"_s, "x");
    server.write(u"endless.html"_s, "<!DOCTYPE html><p>whole<img src=endless/picture.png>");
    server.write(u"endless-fetch.html"_s,
                 "<!DOCTYPE html><p>whole<script>fetch('endless/data.txt')</script>");
    server.write(
        u"polling.html"_s,
        "<!DOCTYPE html><p>whole<script>setInterval(()=>fetch('part.txt?'+Math.random()),400)</script>");
    server.write(u"reloading.html"_s,
                 "<!DOCTYPE html><p>whole<script>setTimeout(()=>location.reload(),700)</script>");
    server.write(u"while.html"_s, "<!DOCTYPE html><p>whole<script>while(true);</script><p>rest");
    server.write(u"timer-while.html"_s,
                 "<!DOCTYPE html><p>whole<script>setTimeout(()=>{while(true);},200)</script>");
    std::vector<Started> jobs;
    for (const char *name : {"endless.html", "endless-fetch.html", "polling.html", "reloading.html",
                             "while.html", "timer-while.html"}) {
        const QString output = m_engine.freshOutput();
        jobs.push_back(
            {name,
             m_engine.start({u"--max-wait"_s, u"5"_s, server.address(u"/"_s + QLatin1String(name)), output}),
             output});
    }
    QByteArrayList flaws;
    for (const Started &job : jobs) {
        // The time for a whole job is a minute.
        if (!job.process->waitForFinished(70000)) {
            job.process->kill();
            job.process->waitForFinished();
            flaws += job.name + " did not end";
            continue;
        }
        if (job.process->exitCode() != 0)
            flaws += job.name + ": " + job.process->readAllStandardError().trimmed();
        else if (!PdfFile(job.output).text().contains(u"whole"_s))
            flaws += job.name + " lacks its text";
    }
    QVERIFY2(flaws.isEmpty(), flaws.join("\n").constData());
}

void ConvertScriptTest::pagesThatComputeForEverArePrinted()
{
    QByteArrayList texts;
    for (const char *script :
         {"const f=()=>setTimeout(f,0);f()", "setInterval(()=>p.dataset.n=Math.random(),0)",
          "const f=()=>{p.style.opacity=.5+Math.random()/2;requestAnimationFrame(f)};f()",
          "const c=new MessageChannel;c.port1.onmessage=()=>c.port2.postMessage(1);c.port2.postMessage(1)",
          "new Worker(URL.createObjectURL(new Blob(['while(true);'])))",
          "p.animate([{color:'red'},{color:'blue'}],{duration:300,iterations:Infinity})",
          "let n=0;new ResizeObserver(()=>{p.style.height=++n+'px';p.dataset.n=n}).observe(p)"})
        texts += QByteArray("<!DOCTYPE html><p id=p>whole<script>") + script + "</script>";
    const std::vector<Conversion> conversions =
        m_engine.convertTexts(texts, {u"--max-wait"_s, u"5"_s, u"--timeout"_s, u"45"_s});
    for (const Conversion &conversion : conversions) {
        VERIFY_WRITTEN(conversion);
        QCOMPARE(conversion.pdf().text(), u"whole"_s);
    }
}

void ConvertScriptTest::cleanupTestCase()
{
    QCOMPARE(m_engine.leftBehind(), QString());
}

QTEST_GUILESS_MAIN(ConvertScriptTest)
#include "tst_convertscript.moc"
