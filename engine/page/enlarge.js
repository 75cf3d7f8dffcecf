// Enlarges text that is smaller than `minimum` CSS pixels, be it through transforms, zoom or the coordinates of SVG.
// Plain text is at least `byBrowser` pixels high already. `pictures` has the texts of SVG files by their addresses;
// returns the addresses of those that are missing. Pictures that the page may show but not read are left alone unless
// its scripts are `silent`; returns whether any are. Runs in a world of its own.
({ minimum, byBrowser, pictures, silent }) => {
    const controls = 'input, textarea, select, button, meter, progress';

    // An element's property itself: a form's fields hide those that they have the names of.
    const own = (element, name) => Reflect.get(Object.getPrototypeOf(element), name, element);

    const scaleOf = ({ a, b, c, d }) => Math.sqrt(Math.abs(a * d - b * c));

    const holdsText = (element, style) => {
        if (own(element, 'matches').call(element, controls) || style.display.includes('list-item')) return true;
        for (const node of own(element, 'childNodes')) if (node.nodeType === Node.TEXT_NODE && /\S/.test(node.data)) return true;
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
        const outer = (element) => own(element, 'parentElement') ?? own(element, 'getRootNode').call(element).host;
        for (let element = frame; element; element = outer(element)) {
            const matrix = own(element, 'getScreenCTM')?.call(element);
            if (matrix) return factor * scaleOf(matrix);
            factor *= ownFactor(getComputedStyle(element));
        }
        return factor;
    };
    const outside = outsideOf(window);

    // The size that text needs, in its own pixels; nothing if it has it. It is drawn at `drawn` pixels of its own, which
    // are `factor` on the page.
    const wantedSize = (style, factor, drawn) => {
        // A size of nothing is a way to hide text, and a factor of nothing cannot be made up for.
        if (!(parseFloat(style.fontSize) > 0 && factor > 0) || drawn * factor >= minimum * 0.999) return undefined;
        return minimum / factor;
    };
    const drawnSize = (style) => Math.max(parseFloat(style.fontSize), byBrowser);

    const put = (element, property, value) => own(element, 'style').setProperty(property, value, 'important');

    const enlarge = (element, style, factor) => {
        const size = wantedSize(style, factor * capitalsOf(style), drawnSize(style));
        if (size) put(element, 'font-size', `${size}px`);
        // It draws text in another size than its style says.
        if (style.fontSizeAdjust && style.fontSizeAdjust !== 'none') put(element, 'font-size-adjust', 'none');
    };

    // SVG is drawn without regard to the smallest size that the browser reports for it, so what is said to have that
    // size may be smaller. Whether the text has been enlarged.
    const enlargeDrawn = (element, style, factor) => {
        const reported = parseFloat(style.fontSize);
        const size = wantedSize(style, factor * capitalsOf(style), reported > byBrowser * 1.001 ? reported : 0);
        const heightOf = () => (element.getNumberOfChars?.() > 0 ? element.getExtentOfChar(0).height : 0);
        if (!size) return false;
        const before = element.style.getPropertyValue('font-size');
        const priority = element.style.getPropertyPriority('font-size');
        const height = heightOf();
        put(element, 'font-size', `${size}px`);
        if (heightOf() > height) return true;
        element.style.setProperty('font-size', before, priority);
        return false;
    };

    // Text of pseudo-elements is enlarged by rules, one for each size.
    const attribute = 'data-quirelle-text';
    const rules = new Map();
    const isShown = (pseudo, its, style) => {
        if (/before|after/.test(pseudo)) return !/^(none|normal)$/.test(its.content);
        // Without a size of its own it has followed the element's.
        return pseudo === '::placeholder' || its.fontSize !== style.fontSize;
    };
    const pseudosOf = (element, style) => {
        const pseudos = ['::before', '::after'];
        if (style.display.includes('list-item')) pseudos.push('::marker');
        if (/^(block|list-item|table-cell|inline-block|flow-root)/.test(style.display))
            pseudos.push('::first-letter', '::first-line');
        if (own(element, 'matches').call(element, 'input, textarea')) pseudos.push('::placeholder');
        return pseudos;
    };
    const enlargePseudos = (element, style, factor) => {
        for (const pseudo of pseudosOf(element, style)) {
            const its = getComputedStyle(element, pseudo);
            if (!isShown(pseudo, its, style)) continue;
            const size = wantedSize(its, factor * capitalsOf(its), drawnSize(its));
            if (!size) continue;
            const marked = own(element, 'getAttribute').call(element, attribute) ?? '';
            const marks = new Set(marked.split(' ').filter(Boolean));
            const mark = `${pseudo.slice(2)}-${size.toFixed(2)}`;
            marks.add(mark);
            own(element, 'setAttribute').call(element, attribute, [...marks].join(' '));
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

    // ---- SVG files that are shown as pictures get their own text enlarged, and are shown as such from then on.

    const missing = new Set();
    let foreign = false;
    globalThis.enlargedPictures ??= new WeakMap();

    const textOfPicture = (image) => {
        const enlarged = globalThis.enlargedPictures.get(image);
        if (enlarged && image.src === enlarged.address) return enlarged.text;
        const address = image.currentSrc.split('#')[0];
        const [, isBase64, data] = address.match(/^data:image\/svg\+xml[^,]*?(;base64)?,([^]*)$/i) ?? [];
        try {
            if (data !== undefined && !isBase64) return decodeURIComponent(data);
            if (isBase64)
                return new TextDecoder().decode(Uint8Array.from(atob(decodeURIComponent(data)), (c) => c.charCodeAt(0)));
        } catch {
            return '';
        }
        if (!/svg/i.test(address)) return '';
        if (!(address in pictures)) missing.add(address);
        return pictures[address] ?? '';
    };

    const asksForMore = (name, value) =>
        name === 'style' ? /url\(/i.test(value) : /^(xlink:)?(href|src|srcset|data)$/i.test(name) && !value.startsWith('#');

    // A copy that does nothing and asks for nothing, for measuring alone. Its elements keep their places.
    const inertCopy = (root) => {
        const copy = document.importNode(root, true);
        for (const element of [copy, ...copy.querySelectorAll('*')]) {
            if (element.localName === 'script') element.textContent = '';
            if (element.localName === 'style')
                element.textContent = element.textContent.replace(/@import[^;]*;?|url\([^)]*\)/gi, '');
            for (const { name, value } of [...element.attributes])
                if (/^on/i.test(name) || asksForMore(name, value)) element.removeAttribute(name);
        }
        return copy;
    };

    const enlargePicture = (image, style, factor) => {
        const text = textOfPicture(image);
        if (!text) return;
        const root = new DOMParser().parseFromString(text, 'image/svg+xml').documentElement;
        if (!(root instanceof SVGSVGElement) || !root.querySelector('text, foreignObject')) return;
        const copy = inertCopy(root);
        if (!copy.hasAttribute('viewBox')) {
            copy.setAttribute('viewBox', `0 0 ${image.naturalWidth} ${image.naturalHeight}`);
            copy.setAttribute('preserveAspectRatio', 'none');
        }
        put(copy, 'width', style.width);
        put(copy, 'height', style.height);
        const host = document.createElement('div');
        for (const [property, value] of [['all', 'initial'], ['position', 'absolute'], ['visibility', 'hidden']])
            put(host, property, value);
        host.attachShadow({ mode: 'closed' }).append(copy);
        document.documentElement.append(host);
        const originals = [root, ...root.querySelectorAll('*')];
        let changed = false;
        for (const [i, element] of [copy, ...copy.querySelectorAll('*')].entries()) {
            if (!(element instanceof SVGElement) || !element.getScreenCTM) continue;
            const its = getComputedStyle(element);
            if (!holdsText(element, its)) continue;
            const matrix = element.getScreenCTM();
            if (!matrix || !enlargeDrawn(element, its, scaleOf(matrix) * factor)) continue;
            put(originals[i], 'font-size', element.style.fontSize);
            changed = true;
        }
        host.remove();
        if (!changed) return;
        const before = image.currentSrc;
        // The page's scripts could read the new address. Where the text has come from, by which redirects, is not
        // known; only what stands in the page is surely its own.
        if (!silent && !/^data:/i.test(before)) {
            foreign = true;
            return;
        }
        const address = `data:image/svg+xml;charset=utf-8,${encodeURIComponent(new XMLSerializer().serializeToString(root))}`;
        if (image.src === address) return;
        if (image.parentElement instanceof HTMLPictureElement)
            for (const source of image.parentElement.querySelectorAll(':scope > source')) source.media = 'not all';
        image.removeAttribute('srcset');
        image.addEventListener('error', () => { image.src = before; }, { once: true });
        image.src = address;
        globalThis.enlargedPictures.set(image, { address, text });
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
            if (holdsText(element, style)) enlargeDrawn(element, style, factor);
        } else {
            const zoomed = factor * (element.currentCSSZoom ?? 1);
            if (holdsText(element, style)) enlarge(element, style, zoomed);
            enlargePseudos(element, style, zoomed);
            if (element instanceof HTMLImageElement) enlargePicture(element, style, zoomed);
        }
        for (const child of own(element, 'children')) visit(child, factor);
        const shadow = own(element, 'shadowRoot');
        if (shadow) {
            for (const child of shadow.children) visit(child, factor);
            applyRules(shadow);
        }
    };

    if (document.documentElement) visit(document.documentElement, outside);
    applyRules(document);
    return { missing: [...missing], foreign };
}
