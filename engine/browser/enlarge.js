// Enlarges text that is smaller than `minimum` CSS pixels, be it through transforms, zoom or the coordinates of SVG.
// Plain text is at least `byBrowser` pixels high already. Runs in a world of its own.
({ minimum, byBrowser }) => {
    const controls = 'input, textarea, select, button, meter, progress';

    const scaleOf = ({ a, b, c, d }) => Math.sqrt(Math.abs(a * d - b * c));

    const holdsText = (element, style) => {
        if (element.matches(controls) || style.display.includes('list-item')) return true;
        for (const node of element.childNodes) if (node.nodeType === Node.TEXT_NODE && /\S/.test(node.data)) return true;
        return false;
    };

    // Fonts without small capitals of their own get capitals of this size instead (Blink's synthesis).
    const smallCapitals = 0.7;
    const capitalsOf = (style) => (/^(normal|titling-caps)$/.test(style.fontVariantCaps) ? 1 : smallCapitals);

    const ownFactor = (style) => {
        let factor = 1;
        if (style.transform !== 'none') factor *= scaleOf(new DOMMatrixReadOnly(style.transform));
        if (style.scale && style.scale !== 'none') {
            const [x, y = x] = style.scale.split(' ').map(parseFloat);
            factor *= Math.sqrt(Math.abs(x * y));
        }
        return factor;
    };

    // The factor at which a frame is drawn by what is around it. Frames of other origins cannot see that.
    const frameOf = (view) => {
        try {
            return view.frameElement;
        } catch {
            return null;
        }
    };
    const outsideOf = (view) => {
        const frame = frameOf(view);
        if (!frame) return 1;
        let factor = outsideOf(view.parent);
        for (let element = frame; element; element = element.parentElement ?? element.getRootNode().host) {
            const matrix = element.getScreenCTM?.();
            if (matrix) return factor * scaleOf(matrix);
            factor *= ownFactor(getComputedStyle(element));
        }
        return factor;
    };
    const outside = outsideOf(window);

    // The size that text of this style needs, in its own pixels; nothing if it has it. `least`: see enlarge().
    const wantedSize = (style, factor, least) => {
        const size = parseFloat(style.fontSize);
        const shown = least === null ? 0 : Math.max(size, least) * factor;
        // A size of nothing is a way to hide text, and a factor of nothing cannot be made up for.
        if (!(size > 0 && factor > 0) || shown >= minimum * 0.999) return undefined;
        return Math.max(minimum / factor, least === null ? size : 0);
    };

    const put = (element, property, value) => element.style.setProperty(property, value, 'important');

    // `least`: no text is drawn smaller than this many pixels of its own; null if what the browser says of its size
    // cannot be relied on.
    const enlarge = (element, style, factor, least) => {
        const size = wantedSize(style, factor * capitalsOf(style), least);
        if (size) put(element, 'font-size', `${size}px`);
        // It draws text in another size than its style says.
        if (style.fontSizeAdjust && style.fontSizeAdjust !== 'none') put(element, 'font-size-adjust', 'none');
    };

    // Text of pseudo-elements is enlarged by rules, one for each size.
    const attribute = 'data-quirelle-text';
    const rules = new Map();
    const isShown = {
        '::before': (style) => !/^(none|normal)$/.test(style.content),
        '::after': (style) => !/^(none|normal)$/.test(style.content),
        '::marker': () => true,
        '::first-letter': () => true,
        '::first-line': () => true,
        '::placeholder': () => true,
    };
    const pseudosOf = (element, style) => {
        const pseudos = ['::before', '::after'];
        if (style.display.includes('list-item')) pseudos.push('::marker');
        if (/^(block|list-item|table-cell|inline-block|flow-root)/.test(style.display))
            pseudos.push('::first-letter', '::first-line');
        if (element.matches('input, textarea')) pseudos.push('::placeholder');
        return pseudos;
    };
    const enlargePseudos = (element, style, factor) => {
        for (const pseudo of pseudosOf(element, style)) {
            const its = getComputedStyle(element, pseudo);
            if (!isShown[pseudo](its)) continue;
            const size = wantedSize(its, factor * capitalsOf(its), byBrowser);
            if (!size) continue;
            const marks = new Set((element.getAttribute(attribute) ?? '').split(' ').filter(Boolean));
            const mark = `${pseudo.slice(2)}-${size.toFixed(2)}`;
            marks.add(mark);
            element.setAttribute(attribute, [...marks].join(' '));
            rules.set(mark, `[${attribute}~="${mark}"]${pseudo} { font-size: ${size}px !important; }`);
        }
    };
    const applyRules = (scope) => {
        if (rules.size === 0) return;
        globalThis.textSheet ??= new CSSStyleSheet();
        for (const rule of rules.values()) globalThis.textSheet.insertRule(rule, globalThis.textSheet.cssRules.length);
        rules.clear();
        if (!scope.adoptedStyleSheets.includes(globalThis.textSheet))
            scope.adoptedStyleSheets = [...scope.adoptedStyleSheets, globalThis.textSheet];
    };

    const visit = (element, parentFactor) => {
        const style = getComputedStyle(element);
        if (style.display === 'none') return;
        const isSvg = element instanceof SVGElement;
        let factor;
        if (isSvg && element.getScreenCTM) {
            // Knows every transform and view box up to the page, but no zoom of the page.
            const matrix = element.getScreenCTM();
            factor = matrix ? scaleOf(matrix) * outside : parentFactor;
        } else {
            factor = parentFactor * ownFactor(style);
        }
        if (isSvg) {
            // SVG is drawn without regard to the smallest size that the browser reports for it.
            if (holdsText(element, style))
                enlarge(element, style, factor, parseFloat(style.fontSize) > byBrowser * 1.001 ? 0 : null);
        } else {
            const zoomed = factor * (element.currentCSSZoom ?? 1);
            if (holdsText(element, style)) enlarge(element, style, zoomed, byBrowser);
            enlargePseudos(element, style, zoomed);
        }
        for (const child of element.children) visit(child, factor);
        if (element.shadowRoot) {
            for (const child of element.shadowRoot.children) visit(child, factor);
            applyRules(element.shadowRoot);
        }
    };

    if (document.documentElement) visit(document.documentElement, outside);
    applyRules(document);
}
