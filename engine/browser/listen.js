// Before any script of the page, in the engine's world: hears what notice.js says.
document.addEventListener('quirelle-observe', () => { globalThis.watchesScrolling = true; }, { once: true });
