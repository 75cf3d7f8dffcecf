// Before any script of the page, in the engine's world: hears what notice.js says.
document.addEventListener('quirelle-observe', () => { globalThis.watchesScrolling = true; });
document.addEventListener('quirelle-await', () => { globalThis.awaitedWork = (globalThis.awaitedWork ?? 0) + 1; });
document.addEventListener('quirelle-heard', () => { --globalThis.awaitedWork; });
