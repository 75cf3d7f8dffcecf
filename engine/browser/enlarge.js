// Enlarges text that is smaller than `minimum` CSS pixels, be it through transforms, zoom or the coordinates of SVG.
// Plain text is at least `byBrowser` pixels high already. Runs in a world of its own.
({ minimum, byBrowser }) => {
    const controls = 'input, textarea, select, button, meter, progress';
    const scaleOf = ({ a, b, c, d }) => Math.sqrt(Math.abs(a * d - b * c));

    const holdsText = (element) => {
        if (element.matches(controls)) return true;
        for (const node of element.childNodes) if (node.nodeType === Node.TEXT_NODE && /\S/.test(node.data)) return true;
        return false;
    };

    // The factor between a length in this element's style and the same length on the page.
    const factorAt = (element, style, parentFactor) => {
        let factor = parentFactor;
        if (style.transform !== 'none') factor *= scaleOf(new DOMMatrixReadOnly(style.transform));
        if (style.scale && style.scale !== 'none') {
            const [x, y = x] = style.scale.split(' ').map(parseFloat);
            factor *= Math.sqrt(Math.abs(x * y));
        }
        return factor;
    };

    const enlarge = (element, style, factor, least) => {
        const size = parseFloat(style.fontSize);
        const shown = least === null ? 0 : Math.max(size, least) * factor;
        // A size of nothing is a way to hide text, and a factor of nothing cannot be made up for.
        if (!(size > 0 && factor > 0) || shown >= minimum * 0.999) return;
        element.style.setProperty('font-size', `${Math.max(minimum / factor, least === null ? size : 0)}px`, 'important');
    };

    const visit = (element, parentFactor) => {
        const style = getComputedStyle(element);
        if (style.display === 'none') return;
        const isSvg = element instanceof SVGElement;
        let factor;
        if (isSvg && element.getScreenCTM) {
            // Knows every transform and view box up to the page, but no zoom of the page.
            const matrix = element.getScreenCTM();
            factor = matrix ? scaleOf(matrix) : parentFactor;
        } else {
            factor = factorAt(element, style, parentFactor);
        }
        if (holdsText(element)) {
            // SVG is drawn without regard to the smallest size that the browser reports for it.
            if (isSvg) enlarge(element, style, factor, parseFloat(style.fontSize) > byBrowser * 1.001 ? 0 : null);
            else enlarge(element, style, factor * (element.currentCSSZoom ?? 1), byBrowser);
        }
        for (const child of element.children) visit(child, factor);
        if (element.shadowRoot) for (const child of element.shadowRoot.children) visit(child, factor);
    };

    if (document.documentElement) visit(document.documentElement, 1);
}
