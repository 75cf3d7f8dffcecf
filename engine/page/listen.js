// Before any script of the page, in the engine's world: hears what notice.js says.
// How often the page has begun something that goes on when it is next drawn.
globalThis.awaitedDrawings = 0;
document.addEventListener('quirelle-draw', () => { ++globalThis.awaitedDrawings; });
document.addEventListener('quirelle-observe', () => {
    globalThis.watchesScrolling = true;
    ++globalThis.awaitedDrawings;
});
// How much work for the page is under way elsewhere, and how much it has heard the end of.
globalThis.awaitedWork = globalThis.heardWork = 0;
document.addEventListener('quirelle-await', () => { ++globalThis.awaitedWork; });
document.addEventListener('quirelle-heard', () => {
    --globalThis.awaitedWork;
    ++globalThis.heardWork;
});
