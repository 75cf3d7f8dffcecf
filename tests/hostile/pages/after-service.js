const go = () => fetch('@WEB@/ping?after-service').then(() => new Promise((done) => setTimeout(done, 200))).then(go); onmessage = (e) => e.waitUntil(go()); oninstall = () => skipWaiting();
