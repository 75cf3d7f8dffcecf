// Has the browser write a destination into the PDF for every place of the document that a link can name, as it does for
// those that the document's own links lead to. These links are not shown: in the head they change nothing on paper.
() => {
    const lasting = (globalThis[Symbol.for('quirelle')] ??= {});
    if (lasting.hasTargets || !document.head) return {};
    lasting.hasTargets = true;
    const links = document.createDocumentFragment();
    const names = ['id', 'name'].flatMap((attribute) =>
        [...document.querySelectorAll(`[${attribute}]`)].map((element) => element.getAttribute(attribute)),
    );
    for (const name of new Set(names)) {
        if (!name) continue;
        const link = document.createElementNS('http://www.w3.org/1999/xhtml', 'a');
        link.href = '#' + encodeURIComponent(name.toWellFormed());
        link.style.setProperty('display', 'none', 'important');
        links.append(link);
    }
    document.head.append(links);
    return {};
}
