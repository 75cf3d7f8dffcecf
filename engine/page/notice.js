// Before any script of the page, in the page's world.
(() => {
    const { Event } = globalThis;
    const dispatch = document.dispatchEvent.bind(document);
    const say = (what) => dispatch(new Event(what));

    // What goes on elsewhere in the browser takes real time, which the page's own does not stand for: the page is
    // complete once it has heard of it, and has done what follows.
    const { setTimeout, clearTimeout, performance } = globalThis;
    const { apply, construct } = Reflect;
    const { addEventListener } = EventTarget.prototype;
    const promiseFinally = Promise.prototype.finally;
    const begin = () => {
        say('quirelle-await');
        let awaited = true;
        return () => {
            if (awaited) setTimeout(() => say('quirelle-heard'));
            awaited = false;
        };
    };
    const awaitEvents = (target, types) => {
        const heard = begin();
        for (const type of types) apply(addEventListener, target, [type, heard, { once: true }]);
        return target;
    };
    const awaitPromise = (promise) => apply(promiseFinally, promise, [begin()]);
    const replace = (owner, names, by) => {
        for (const name of names) {
            const method = owner?.[name];
            if (typeof method === 'function') owner[name] = by(method, name);
        }
    };
    const awaitResults = (owner, ...names) => replace(owner, names, (method, name) => ({
        [name](...parameters) { return awaitPromise(apply(method, this, parameters)); },
    })[name]);
    const awaitEnds = (owner, types, ...names) => replace(owner, names, (method, name) => ({
        [name](...parameters) { return awaitEvents(apply(method, this, parameters) ?? this, types); },
    })[name]);
    // The last function among the parameters is called in the end.
    const awaitCalls = (owner, ...names) => replace(owner, names, (method, name) => ({
        [name](...parameters) {
            let last = parameters.length - 1;
            while (last >= 0 && typeof parameters[last] !== 'function') --last;
            const callback = parameters[last];
            if (!callback) return apply(method, this, parameters);
            let heard;
            parameters[last] = function (...results) {
                heard();
                return apply(callback, this, results);
            };
            const result = apply(method, this, parameters);
            heard = begin();
            return result;
        },
    })[name]);
    const {
        Blob, Cache, CacheStorage, FileReader, FileSystemDirectoryHandle, FileSystemFileHandle, FileSystemWritableFileStream,
        HTMLCanvasElement, HTMLImageElement, IDBDatabase, IDBFactory, LockManager, MediaDevices, OfflineAudioContext,
        OffscreenCanvas, Permissions, Response, ServiceWorkerContainer, StorageManager, SubtleCrypto, WebAssembly,
    } = globalThis;
    awaitEnds(IDBFactory?.prototype, ['success', 'error'], 'open', 'deleteDatabase');
    awaitEnds(IDBDatabase?.prototype, ['complete', 'abort'], 'transaction');
    awaitResults(IDBFactory?.prototype, 'databases');
    awaitResults(CacheStorage?.prototype, 'open', 'match', 'has', 'keys', 'delete');
    awaitResults(Cache?.prototype, 'match', 'matchAll', 'add', 'addAll', 'put', 'keys', 'delete');
    awaitResults(ServiceWorkerContainer?.prototype, 'register', 'getRegistration', 'getRegistrations');
    awaitCalls(LockManager?.prototype, 'request');
    awaitResults(StorageManager?.prototype, 'getDirectory', 'estimate', 'persist', 'persisted');
    awaitResults(FileSystemDirectoryHandle?.prototype, 'getFileHandle', 'getDirectoryHandle', 'removeEntry');
    awaitResults(FileSystemFileHandle?.prototype, 'getFile', 'createWritable');
    awaitResults(FileSystemWritableFileStream?.prototype, 'write', 'close');
    awaitEnds(FileReader.prototype, ['loadend'], 'readAsArrayBuffer', 'readAsBinaryString', 'readAsDataURL', 'readAsText');
    awaitResults(Blob.prototype, 'arrayBuffer', 'bytes', 'text');
    awaitResults(Response.prototype, 'arrayBuffer', 'blob', 'bytes', 'formData', 'json', 'text');
    awaitResults(SubtleCrypto?.prototype, 'decrypt', 'deriveBits', 'deriveKey', 'digest', 'encrypt', 'exportKey',
        'generateKey', 'importKey', 'sign', 'unwrapKey', 'verify', 'wrapKey');
    awaitResults(WebAssembly, 'compile', 'compileStreaming', 'instantiate', 'instantiateStreaming');
    awaitResults(globalThis, 'createImageBitmap');
    awaitResults(HTMLImageElement.prototype, 'decode');
    awaitCalls(HTMLCanvasElement.prototype, 'toBlob');
    awaitResults(OffscreenCanvas?.prototype, 'convertToBlob');
    awaitResults(OfflineAudioContext?.prototype, 'startRendering');
    awaitResults(Permissions?.prototype, 'query');
    awaitResults(MediaDevices?.prototype, 'enumerateDevices', 'getUserMedia');

    // So is a worker or a server that has been called, or sent something.
    const awaited = new WeakMap();
    const awaitFrom = (source) => {
        if (!awaited.get(source)) awaited.set(source, begin());
    };
    const listenTo = (source) => {
        // Before any listener of the page, which may send the next.
        const hear = () => {
            awaited.get(source)?.();
            awaited.delete(source);
        };
        for (const type of ['message', 'error', 'close']) apply(addEventListener, source, [type, hear]);
        awaitFrom(source);
    };
    const awaitAnswers = (owner, name, mayAnswer) => replace(owner, [name], (method) => ({
        [name](...parameters) {
            if (mayAnswer(this)) awaitFrom(this);
            return apply(method, this, parameters);
        },
    })[name]);
    const awaitFirst = (name, channelOf) => {
        const Source = globalThis[name];
        if (!Source) return;
        globalThis[name] = new Proxy(Source, {
            construct(target, parameters, newTarget) {
                const source = construct(target, parameters, newTarget);
                listenTo(channelOf(source));
                return source;
            },
        });
        Source.prototype.constructor = globalThis[name];
    };
    const shared = new WeakSet();
    const sharedPort = ({ port }) => {
        shared.add(port);
        return port;
    };
    for (const name of ['Worker', 'WebSocket', 'EventSource']) awaitFirst(name, (source) => source);
    awaitFirst('SharedWorker', sharedPort);
    awaitAnswers(globalThis.Worker?.prototype, 'postMessage', () => true);
    awaitAnswers(globalThis.WebSocket?.prototype, 'send', () => true);
    awaitAnswers(MessagePort.prototype, 'postMessage', (port) => shared.has(port));

    // These tell something, or go on, when the page is next drawn, which nothing else waits for.
    const announce = (what, owner, ...names) => replace(owner, names, (method, name) => ({
        [name](...parameters) {
            say(what);
            return apply(method, this, parameters);
        },
    })[name]);
    announce('quirelle-observe', IntersectionObserver.prototype, 'observe');
    announce('quirelle-draw', ResizeObserver.prototype, 'observe');
    announce('quirelle-draw', Document.prototype, 'startViewTransition');
    announce('quirelle-draw', Element.prototype, 'scroll', 'scrollBy', 'scrollIntoView', 'scrollTo');
    announce('quirelle-draw', globalThis, 'scroll', 'scrollBy', 'scrollTo');

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
    const betweenFrames = 16; // milliseconds
    globalThis.requestAnimationFrame = (draw) => setTimeout(() => draw(performance.now()), betweenFrames);
    globalThis.cancelAnimationFrame = (id) => clearTimeout(id);
    // So does what waits for the page to have nothing to do, which else it never has while its time passes at once.
    // That time stands still meanwhile; who asks how much of it is left uses it up.
    const idleTime = 50; // milliseconds
    const forAsking = 0.05; // milliseconds
    globalThis.requestIdleCallback = (work) => setTimeout(() => {
        let left = idleTime;
        work({ didTimeout: false, timeRemaining: () => (left = left > forAsking ? left - forAsking : 0) });
    }, betweenFrames);
    globalThis.cancelIdleCallback = (id) => clearTimeout(id);
})();
