// Has the browser write a destination into the PDF for places of the document, as it does for those that the document's own
// links lead to, whether these links are shown or not: for every heading, at most `headings` of them, and with `all` for
// every place that a link can name. Returns {headings}, each {level, title, name}.
({ headings: maximum, all }) => {
    const links = document.createDocumentFragment();
    // What the destination is called.
    const link = (id) => {
        const anchor = document.createElementNS('http://www.w3.org/1999/xhtml', 'a');
        anchor.href = `#${encodeURIComponent(id.toWellFormed())}`; // also with a <base>: the browser compares with that
        anchor.style.setProperty('display', 'none', 'important');
        links.append(anchor);
        return anchor.hash.slice(1);
    };
    const levelOf = (heading) => Number(heading.getAttribute('aria-level')) || Number(/^h([1-6])$/.exec(heading.localName)?.[1]) || 2;
    const candidates = maximum > 0 ? [...document.querySelectorAll('h1, h2, h3, h4, h5, h6, [role="heading" i]')] : [];
    const shown = candidates.filter((heading) => heading.getClientRects().length > 0).map((heading) => [heading, levelOf(heading)]);
    // Of too many, the deeper ones are left out.
    const levels = shown.map(([, level]) => level).sort((a, b) => a - b);
    const deepest = levels.length <= maximum ? Infinity : Math.max(levels[maximum] - 1, levels[0]);
    const headings = [];
    for (const [heading, level] of shown) {
        if (level > deepest || headings.length >= maximum) continue;
        const title = heading.innerText.replace(/\s+/g, ' ').trim().slice(0, 500);
        if (!title) continue;
        // Of two with the same name links lead to the first.
        if (!heading.id || document.getElementById(heading.id) !== heading) heading.id = `quirelle-heading-${headings.length}`;
        headings.push({ level, title, name: link(heading.id) });
    }
    const names = ['id', 'name'].flatMap((attribute) =>
        all ? [...document.querySelectorAll(`[${attribute}]`)].map((element) => element.getAttribute(attribute)) : []);
    for (const name of new Set(names)) if (name) link(name);
    document.head?.append(links);
    return { headings };
}
