// Shows a document from `begin`, in CSS pixels, to its end: each call scrolls on by a view, which is to be drawn then, and
// the last ones back to where it was. Runs in the engine's world. At the end returns how far it has been shown, and how
// far it reaches then.
({ begin, isFirst }) => {
    const lasting = (globalThis[Symbol.for('quirelle')] ??= {});
    const view = document.scrollingElement;
    if (!view) return { isOver: true };
    const last = view.scrollHeight - view.clientHeight;
    if (isFirst || !lasting.showing) {
        const top = Math.max(begin - view.clientHeight, 0);
        lasting.showing = {
            left: view.scrollLeft,
            before: view.scrollTop,
            top: top === view.scrollTop ? top + view.clientHeight : top, // that has been drawn
            end: view.scrollHeight, // what is added meanwhile is shown next time
            // The end, and twice the place where it was: what observers do about the end is over then.
            steps: last > 0 ? 3 : 1,
        };
    }
    const { showing } = lasting;
    const scrollTo = (top) => view.scrollTo({ left: showing.left, top, behavior: 'instant' });
    if (showing.top < Math.min(showing.end, last)) {
        scrollTo(showing.top);
        showing.top += view.clientHeight;
    } else if (showing.steps > 0) {
        scrollTo(showing.steps === 3 ? last : showing.before);
        --showing.steps;
    } else {
        return { isOver: true, shown: showing.end, height: view.scrollHeight };
    }
    return {};
}
