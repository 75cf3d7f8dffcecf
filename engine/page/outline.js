// Has the browser write a destination for every heading of a document that it makes no outline for: for those that a link
// leads to it does, and it does not ask whether the links can be seen. Returns {headings}, each {level, title, name}.
({ maximum }) => {
    const headings = [];
    const links = document.createElement('div');
    const levelOf = (heading) => Number(heading.getAttribute('aria-level')) || Number(/^h([1-6])$/.exec(heading.localName)?.[1]) || 2;
    for (const heading of document.querySelectorAll('h1, h2, h3, h4, h5, h6, [role="heading" i]')) {
        const title = heading.innerText.replace(/\s+/g, ' ').trim().slice(0, 500);
        if (!title || heading.getClientRects().length === 0) continue;
        if (headings.length >= maximum) break;
        // Of two with the same name links lead to the first.
        if (!heading.id || document.getElementById(heading.id) !== heading) heading.id = `quirelle-heading-${headings.length}`;
        const link = document.createElement('a');
        link.href = `${location.href.split('#')[0]}#${encodeURIComponent(heading.id)}`;
        links.append(link);
        headings.push({ level: levelOf(heading), title, name: link.hash.slice(1) });
    }
    (document.head ?? document.documentElement)?.append(links);
    return { headings };
}
