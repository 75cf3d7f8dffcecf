// Runs before any script of a page or of a worker of it, in its own world. The page's functions are its own but for
// these, of which the browser tells nothing or which mean nothing on paper:
//
// requestAnimationFrame, requestIdleCallback   go by the page's own time, which passes with few frames being drawn
// attachShadow                                 closed trees are open to the engine, for what is changed for paper
// getContext                                   a WebGL drawing buffer is kept once it has been shown, for printing
// toBlob                                       pictures of canvases are made at once, not when the page is idle
// print                                        tells the engine, which prints the page then
(() => {
    const { setTimeout, clearTimeout, performance } = globalThis;
    const { apply, defineProperty } = Reflect;

    for (const Canvas of [globalThis.HTMLCanvasElement, globalThis.OffscreenCanvas]) {
        const getContext = Canvas?.prototype.getContext;
        if (!getContext) continue;
        Canvas.prototype.getContext = {
            getContext(kind, settings, ...rest) {
                const kept = /webgl/.test(kind) ? { ...settings, preserveDrawingBuffer: true } : settings;
                return apply(getContext, this, [kind, kept, ...rest]);
            },
        }.getContext;
    }
    const frameTime = 16; // milliseconds
    // The page's own may be made of frames; those of a worker are not there yet.
    const call = (own, name, ...rest) => (own ?? globalThis[name])(...rest);
    if (globalThis.requestAnimationFrame) {
        globalThis.requestAnimationFrame = (draw) => call(setTimeout, 'setTimeout', () => draw((performance ?? globalThis.performance).now()), frameTime);
        globalThis.cancelAnimationFrame = (id) => call(clearTimeout, 'clearTimeout', id);
    }
    if (!globalThis.document) return;

    const { attachShadow } = Element.prototype;
    Element.prototype.attachShadow = {
        attachShadow(init) {
            if (init?.mode !== 'closed') return apply(attachShadow, this, [init]);
            const root = apply(attachShadow, this, [{ ...init, mode: 'open' }]);
            defineProperty(this, 'shadowRoot', { value: null, configurable: true });
            defineProperty(root, 'mode', { value: 'closed', configurable: true });
            return root;
        },
    }.attachShadow;

    const { atob, Blob, Uint8Array } = globalThis;
    const { toBlob, toDataURL } = HTMLCanvasElement.prototype;
    HTMLCanvasElement.prototype.toBlob = {
        toBlob(done, ...format) {
            if (typeof done !== 'function') return apply(toBlob, this, [done, ...format]);
            const [, type, data] = /^data:(.*);base64,(.*)$/.exec(apply(toDataURL, this, format)) ?? [];
            const bytes = data && Uint8Array.from(atob(data), (character) => character.charCodeAt(0));
            setTimeout(() => done(data ? new Blob([bytes], { type }) : null));
        },
    }.toBlob;

    // Page time stands still during a callback; asking how much of it is left uses it up.
    const idleTime = 50; // milliseconds
    const timeToAsk = 0.05; // milliseconds
    globalThis.requestIdleCallback = (work) => setTimeout(() => {
        let left = idleTime;
        work({ didTimeout: false, timeRemaining: () => (left = left > timeToAsk ? left - timeToAsk : 0) });
    }, frameTime);
    globalThis.cancelIdleCallback = (id) => clearTimeout(id);

    // A page that asks to be printed is printed; it leads on to no other until then.
    const tell = globalThis.quirelleAsksForPrint;
    delete globalThis.quirelleAsksForPrint;
    if (globalThis !== globalThis.top) return;
    const { navigation } = globalThis;
    const stay = (event) => {
        if (event.cancelable && !event.hashChange) event.preventDefault();
    };
    const listen = navigation?.addEventListener.bind(navigation, 'navigate', stay);
    globalThis.print = { print() {
        listen?.();
        tell?.('');
    } }.print;
})();
