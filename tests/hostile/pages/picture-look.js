// Looks for what an image holds, wherever the engine might leave it.
const asked = new Set();
// Throws where it may not be read. An image that has not come yet leaves a canvas empty, and readable.
const shows = (canvas) => canvas.getImageData(0, 0, canvas.canvas.width, canvas.canvas.height).data.some((value) => value > 0);
const look = () => {
    attempt('tree', () => document.documentElement.outerHTML);
    for (const image of document.querySelectorAll('img, image')) {
        const address = String(image.currentSrc || image.href?.baseVal || '');
        if (/^(data|blob):/.test(address)) tell('STOLEN address');
        attempt('address', () => decodeURIComponent(image.src + address));
        for (const property of ['content', 'backgroundImage', 'maskImage', 'listStyleImage']) attempt(property, () => decodeURIComponent(getComputedStyle(image)[property]));
        attempt('canvas', () => {
            const canvas = document.createElement('canvas').getContext('2d');
            canvas.drawImage(image, 0, 0);
            if (shows(canvas) && !/other/.test(address)) tell('STOLEN canvas');
        });
        attempt('bitmap', () => createImageBitmap(image).then((bitmap) => {
            const canvas = new OffscreenCanvas(9, 9).getContext('2d');
            canvas.drawImage(bitmap, 0, 0);
            if (shows(canvas) && !/other/.test(address)) tell('STOLEN bitmap');
        }));
        if (!address || asked.has(address)) continue;
        asked.add(address);
        attempt('fetch', () => fetch(address).then((answer) => answer.text()));
        attempt('fetch of what is kept', () => fetch(address, { cache: 'force-cache' }).then((answer) => answer.text()));
        attempt('request', () => { const request = new XMLHttpRequest(); request.open('GET', address, false); request.send(); return request.responseText; });
        attempt('image that is asked for by rights', () => new Promise((done) => {
            const image = new Image();
            image.crossOrigin = 'anonymous';
            image.onload = () => {
                const canvas = document.createElement('canvas').getContext('2d');
                canvas.drawImage(image, 0, 0);
                if (shows(canvas) && !/other/.test(address)) tell('STOLEN rights');
                done();
            };
            image.src = address;
        }));
        attempt('use', () => put(`<svg width=9 height=9><use href="${address}#s"/></svg>`));
    }
    for (const frame of document.querySelectorAll('object, embed, iframe'))
        for (const way of [() => frame.contentDocument?.documentElement.outerHTML, () => frame.getSVGDocument()?.documentElement.outerHTML, () => frame.contentWindow?.document.documentElement.outerHTML]) attempt('frame', way);
    for (let i = 0; i < window.length; ++i) attempt('window', () => window[i].document.documentElement.outerHTML);
    for (const sheet of [...document.styleSheets, ...document.adoptedStyleSheets]) attempt('sheet', () => [...sheet.cssRules].map((rule) => rule.cssText).join());
    attempt('performance', () => performance.getEntries().map((entry) => decodeURIComponent(entry.name)).join());
    attempt('box', () => decodeURIComponent(getComputedStyle(box).cssText + Object.values(getComputedStyle(box)).join()));
};
const seen = (records) => {
    for (const { target, oldValue, addedNodes } of records) {
        attempt('change', () => decodeURIComponent(`${oldValue} ${target.outerHTML}`));
        for (const node of addedNodes) attempt('new node', () => node.outerHTML + (node.shadowRoot?.innerHTML ?? '') + (node.contentDocument?.documentElement.outerHTML ?? ''));
    }
    look();
};
new MutationObserver(seen).observe(document, { attributes: true, attributeOldValue: true, characterData: true, childList: true, subtree: true });
const sizes = new ResizeObserver(look);
for (const element of document.querySelectorAll('*')) sizes.observe(element);
new PerformanceObserver((list) => attempt('entry', () => list.getEntries().map((entry) => decodeURIComponent(entry.name)).join())).observe({ type: 'resource', buffered: true });
for (const type of ['load', 'error', 'beforeprint', 'resize', 'animationstart', 'slotchange', 'securitypolicyviolation']) addEventListener(type, look, true);
setInterval(look, 150);
