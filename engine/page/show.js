// Shows a document from `begin`, in CSS pixels, to its end, a view at a time, and puts it back where it was. Runs in the
// engine's world. Returns how far it has been shown, and how far it reaches then. Stops when `stopsShowing` is set in what
// lasts there.
async (begin) => {
    // Resolved by a message, which comes after all that the frame itself has brought.
    const drawn = () => new Promise((resolve) => requestAnimationFrame(() => {
        const { port1, port2 } = new MessageChannel();
        port1.onmessage = () => { port1.close(); resolve(); };
        port2.postMessage(0);
    }));
    const lasting = (globalThis[Symbol.for('quirelle')] ??= {});
    lasting.stopsShowing = false;
    const view = document.scrollingElement;
    if (!view) return { shown: 0, height: 0 };
    const { scrollLeft: left, scrollTop: before } = view;
    const scrollTo = (top) => view.scrollTo({ left, top, behavior: 'instant' });
    const last = () => view.scrollHeight - view.clientHeight;
    const end = view.scrollHeight; // what is added meanwhile is shown next time
    for (let top = Math.max(begin - view.clientHeight, 0); top < Math.min(end, last()) && !lasting.stopsShowing; top += view.clientHeight) {
        scrollTo(top);
        await drawn();
    }
    if (last() > 0) {
        scrollTo(last());
        await drawn();
        scrollTo(before);
    }
    await drawn();
    await drawn(); // what observers of the view do about the last frame is over
    return { shown: end, height: view.scrollHeight };
}
