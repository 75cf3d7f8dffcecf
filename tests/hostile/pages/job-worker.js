oninstall = () => skipWaiting(); onactivate = (e) => e.waitUntil(clients.claim()); onfetch = (e) => { if (e.request.url.endsWith('who.txt')) e.respondWith(new Response('QPLANTED')); };
