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

    // What goes on elsewhere in the browser takes real time, which the page's own does not stand for: the page is
    // complete once it has heard of it, and has done what follows.
    const { setTimeout, clearTimeout, performance } = globalThis;
    const { apply } = Reflect;
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
        for (let i = 0; i < types.length; ++i) apply(addEventListener, target, [types[i], heard, { once: true }]);
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

    // A worker that has been started, or sent something, is heard as well.
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
    const betweenFrames = 16; // milliseconds
    globalThis.requestAnimationFrame = (draw) => setTimeout(() => draw(performance.now()), betweenFrames);
    globalThis.cancelAnimationFrame = (id) => clearTimeout(id);
})();
