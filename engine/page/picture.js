// Enlarges the text of an SVG file, `text`, for the ways in which it is `shown` as a picture: in boxes of `width` x
// `height` CSS pixels in which no text may be smaller than `minimum`. Returns the changed file as `enlarged`, or
// nothing. Runs in a
// document of the engine's own, which loads nothing and runs no script, so that no page sees anything of the file.
({ text, shown }) => {
    const source = new DOMParser().parseFromString(text, 'image/svg+xml');
    if (!(source.documentElement instanceof SVGSVGElement)) return {};
    const mark = 'data-quirelle-text';
    const originals = [source.documentElement, ...source.querySelectorAll('*')];
    for (const [i, element] of originals.entries()) element.setAttribute(mark, i);

    const copy = document.importNode(source.documentElement, true);
    for (const element of copy.querySelectorAll('script, link, meta, base, iframe, object, embed, audio, video')) element.remove();
    document.replaceChild(copy, document.documentElement);

    const drawsText = (element) =>
        element.getScreenCTM && [...element.childNodes].some((node) => node.nodeType === Node.TEXT_NODE && /\S/.test(node.data));
    const scaleOf = ({ a, b, c, d }) => Math.sqrt(Math.abs(a * d - b * c));
    const texts = [...copy.querySelectorAll('*')].filter(drawsText).filter((element) => getComputedStyle(element).display !== 'none');
    // The sizes that styles ask for: the browser says larger ones.
    for (const element of texts) element.style.setProperty('scroll-margin-top', '1em', 'important');
    const sizes = texts.map((element) => parseFloat(getComputedStyle(element).scrollMarginTop));

    const [ownWidth, ownHeight] = ['width', 'height'].map((side) => (copy.hasAttribute(side) ? copy[side].baseVal.value : 0));
    const hasViewBox = copy.hasAttribute('viewBox');
    const rulesFor = ({ width, height, minimum, naturalWidth, naturalHeight }) => {
        if (!hasViewBox) {
            copy.setAttribute('viewBox', `0 0 ${naturalWidth || ownWidth || width} ${naturalHeight || ownHeight || height}`);
            copy.setAttribute('preserveAspectRatio', 'none');
        }
        for (const [property, value] of Object.entries({ width, height })) copy.style.setProperty(property, `${value}px`, 'important');
        const rules = [];
        for (const [i, element] of texts.entries()) {
            const matrix = element.getScreenCTM();
            const needed = matrix ? minimum / scaleOf(matrix) : 0;
            const isRelative = texts.some((other) => other !== element && other.contains(element));
            if (!(sizes[i] > 0) || !Number.isFinite(needed)) continue;
            if (sizes[i] < needed * 0.999 || isRelative)
                rules.push([`[${mark}="${element.getAttribute(mark)}"] { font-size: ${Math.max(sizes[i], needed)}px !important; }`, sizes[i] < needed * 0.999]);
        }
        return rules.some(([, enlarges]) => enlarges) ? rules.map(([rule]) => rule).join('\n') : '';
    };

    // Those of the same size follow the rules of that which needs the largest text.
    const bySize = new Map();
    for (const way of shown) {
        const size = `(width > ${way.width - 1}px) and (width < ${way.width + 1}px) and (height > ${way.height - 1}px) and (height < ${way.height + 1}px)`;
        if (!(bySize.get(size)?.minimum >= way.minimum)) bySize.set(size, way);
    }
    const rules = [...bySize].map(([size, way]) => [size, rulesFor(way)]).filter(([, those]) => those);
    if (rules.length === 0) return {};
    const sheet = source.createElementNS('http://www.w3.org/2000/svg', 'style');
    // In the first layer, whose important rules go before all others.
    sheet.textContent = rules
        .map(([size, those]) => `@layer quirelle { ${bySize.size > 1 ? `@media ${size} { ${those} }` : those} }`)
        .join('\n');
    source.documentElement.prepend(sheet);
    for (const element of originals)
        if (element.style?.getPropertyPriority('font-size')) element.style.setProperty('font-size', element.style.getPropertyValue('font-size'));
    return { enlarged: new XMLSerializer().serializeToString(source.documentElement) };
}
