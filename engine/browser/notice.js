// Before any script of the page, in the page's world.
(() => {
    const { Event } = globalThis;
    const dispatch = document.dispatchEvent.bind(document);
    const say = (what) => dispatch(new Event(what));

    // The page begins to watch what comes into view.
    const { observe } = IntersectionObserver.prototype;
    IntersectionObserver.prototype.observe = function (target) {
        say('quirelle-observe');
        return observe.call(this, target);
    };

    // A worker that has been started, or sent something, is heard before the page is complete.
    const { Worker } = globalThis;
    const { postMessage } = Worker.prototype;
    const awaited = new WeakSet();
    const awaitFrom = (worker) => {
        if (awaited.has(worker)) return;
        awaited.add(worker);
        say('quirelle-await');
        const heard = () => {
            if (awaited.delete(worker)) say('quirelle-heard');
        };
        worker.addEventListener('message', () => setTimeout(heard), { once: true });
        worker.addEventListener('error', heard, { once: true });
    };
    globalThis.Worker = class extends Worker {
        constructor(...parameters) {
            super(...parameters);
            awaitFrom(this);
        }
        postMessage(...parameters) {
            awaitFrom(this);
            return postMessage.apply(this, parameters);
        }
    };

    // A shadow tree that is closed to the page's other scripts is open to the engine.
    const { attachShadow } = Element.prototype;
    const { defineProperty } = Object;
    Element.prototype.attachShadow = function (init) {
        if (init?.mode !== 'closed') return attachShadow.call(this, init);
        const root = attachShadow.call(this, { ...init, mode: 'open' });
        defineProperty(this, 'shadowRoot', { value: null, configurable: true });
        defineProperty(root, 'mode', { value: 'closed', configurable: true });
        return root;
    };

    // Frames are not drawn on their way to paper, but animation made of them goes on, in the page's own time.
    const { setTimeout, clearTimeout, performance } = globalThis;
    const betweenFrames = 16; // milliseconds
    globalThis.requestAnimationFrame = (draw) => setTimeout(() => draw(performance.now()), betweenFrames);
    globalThis.cancelAnimationFrame = (id) => clearTimeout(id);
})();
