// Makes text readable on white paper, on a page whose backgrounds are left out: what is too light, or was made of its
// background, gets a dark colour of the same hue. Runs in a world of its own, and may be called again.
() => {
    const getter = (owner, name) => {
        const { get } = Object.getOwnPropertyDescriptor(owner.prototype, name);
        return (object) => get.call(object);
    };
    const own = (object, name) => Reflect.get(Object.getPrototypeOf(object), name, object);
    const firstElement = getter(Element, 'firstElementChild');
    const nextElement = getter(Element, 'nextElementSibling');
    const firstNode = getter(Node, 'firstChild');
    const nextNode = getter(Node, 'nextSibling');
    const nameOf = getter(Element, 'localName');
    const shadowOf = getter(Element, 'shadowRoot');
    const boxOf = (element) => Element.prototype.getBoundingClientRect.call(element);
    const lasting = (globalThis[Symbol.for('quirelle')] ??= {});

    // ---- Colours

    const context = new OffscreenCanvas(1, 1).getContext('2d', { willReadFrequently: true });
    const known = new Map();
    // Red, green, blue and opacity, 0 to 1, of a colour in any notation.
    const channelsOf = (colour) => {
        if (known.has(colour)) return known.get(colour);
        context.clearRect(0, 0, 1, 1);
        context.fillStyle = 'black';
        context.fillStyle = colour;
        context.fillRect(0, 0, 1, 1);
        const channels = [...context.getImageData(0, 0, 1, 1).data].map((value) => value / 255);
        known.set(colour, channels);
        return channels;
    };
    const linear = (value) => (value <= 0.04045 ? value / 12.92 : ((value + 0.055) / 1.055) ** 2.4);
    const encoded = (value) => (value <= 0.0031308 ? value * 12.92 : 1.055 * value ** (1 / 2.4) - 0.055);
    const luminanceOf = ([red, green, blue]) => 0.2126 * linear(red) + 0.7152 * linear(green) + 0.0722 * linear(blue);
    // The contrasts of text against white that WCAG 2 asks for: AA, the least, and AAA, which what lacks that is given.
    const darkEnough = 1.05 / 4.5 - 0.05;
    const dark = 1.05 / 7 - 0.05;
    // The colour to use instead, or nothing. `opacity`: how much of it is seen of anything.
    const darkened = (colour, opacity) => {
        const [red, green, blue, alpha] = channelsOf(colour);
        const seen = [red, green, blue].map((value) => 1 - (1 - value) * alpha * opacity);
        if (luminanceOf(seen) <= darkEnough) return undefined;
        const luminance = luminanceOf([red, green, blue]);
        // Only black is dark enough where little of it is seen.
        const factor = alpha * opacity < 0.9 ? 0 : luminance > dark ? dark / luminance : 1;
        return `rgb(${[red, green, blue].map((value) => Math.round(255 * encoded(linear(value) * factor))).join(' ')})`;
    };
    const isTransparent = (colour) => channelsOf(colour)[3] < 0.1;

    // The colour that text is seen in, where it is transparent itself; nothing if it is not meant to be seen.
    const seenColour = ({ color, backgroundClip, backgroundImage, backgroundColor, textShadow }) => {
        const found = (text) => text.match(/(?:rgba?|hsla?|hwb|lab|lch|oklab|oklch|color)\([^()]*\)/g)?.find((one) => !isTransparent(one));
        if (/text/.test(backgroundClip)) return isTransparent(color) ? (found(backgroundImage) ?? (isTransparent(backgroundColor) ? 'black' : backgroundColor)) : color;
        return textShadow === 'none' ? undefined : found(textShadow);
    };

    // Pictures stay, and so does the colour of text before them.
    const pictures = [...Document.prototype.querySelectorAll.call(document, 'img, video, canvas, svg, object, embed')].map(boxOf);
    const isOverPicture = (element) => {
        if (pictures.length === 0) return false;
        const range = new Range();
        range.selectNodeContents(element);
        const { left, right, top, bottom, width } = range.getBoundingClientRect();
        const [x, y] = [(left + right) / 2, (top + bottom) / 2];
        return width > 0 && pictures.some((box) => box.left <= x && x <= box.right && box.top <= y && y <= box.bottom);
    };

    // ---- What is to be changed: declarations by element, and by pseudo-element.

    const changes = [];
    const note = (element, pseudo, style, opacity, clipping) => {
        const declarations = {};
        const fill = style.webkitTextFillColor;
        const hasStroke = parseFloat(style.webkitTextStrokeWidth) > 0 && !isTransparent(style.webkitTextStrokeColor);
        if (hasStroke) declarations['-webkit-text-stroke-color'] = darkened(style.webkitTextStrokeColor, opacity);
        if (isTransparent(fill)) {
            const seen = hasStroke ? undefined : seenColour(clipping ?? style);
            if (seen) declarations.color = darkened(seen, opacity) ?? seen;
        } else {
            declarations.color = darkened(fill, opacity);
        }
        if (declarations.color)
            Object.assign(declarations, {
                '-webkit-text-fill-color': declarations.color, 'text-decoration-color': 'currentcolor', 'text-emphasis-color': 'currentcolor',
            });
        const entries = Object.entries(declarations).filter(([, value]) => value);
        if (entries.length > 0 && !isOverPicture(element)) changes.push({ element, pseudo, entries });
    };

    const shapes = new Set(['rect', 'circle', 'ellipse', 'path', 'polygon', 'image', 'use', 'foreignObject']);
    // Whether a shape of the same drawing lies behind the text.
    const hasShapeBehind = (text) => {
        const drawing = own(text, 'ownerSVGElement');
        if (!drawing) return false;
        const { left, right, top, bottom } = boxOf(text);
        const [x, y] = [(left + right) / 2, (top + bottom) / 2];
        return [...drawing.querySelectorAll('*')].some((shape) => {
            if (!shapes.has(nameOf(shape)) || !(shape.compareDocumentPosition(text) & Node.DOCUMENT_POSITION_FOLLOWING)) return false;
            const box = boxOf(shape);
            return getComputedStyle(shape).fill !== 'none' && box.left <= x && x <= box.right && box.top <= y && y <= box.bottom;
        });
    };
    const noteDrawn = (element, style, opacity) => {
        const entries = [];
        for (const property of ['fill', 'stroke']) {
            const colour = style[property];
            if (colour === 'none' || /^url/.test(colour) || isTransparent(colour)) continue;
            const instead = darkened(colour, opacity);
            if (instead && !hasShapeBehind(element)) entries.push([property, instead]);
        }
        if (entries.length > 0) changes.push({ element, pseudo: '', entries });
    };

    const fields = new Set(['input', 'textarea', 'select', 'button', 'img']);
    const holdsText = (element) => {
        for (let node = firstNode(element); node; node = nextNode(node))
            if (node.nodeType === Node.TEXT_NODE && /\S/.test(node.data)) return true;
        return fields.has(nameOf(element));
    };

    const pseudosOf = (element, { display }) => {
        const pseudos = ['::before', '::after'];
        if (display.includes('list-item')) pseudos.push('::marker');
        if (/^(block|list-item|table-cell|inline-block|flow-root)/.test(display)) pseudos.push('::first-letter', '::first-line');
        if (/^(input|textarea)$/.test(nameOf(element))) pseudos.push('::placeholder', '::file-selector-button');
        return pseudos;
    };

    const visit = (root) => {
        const waiting = [[root, 1, undefined]];
        while (waiting.length > 0) {
            const [element, outer, above] = waiting.pop();
            const style = getComputedStyle(element);
            if (style.display === 'none') continue;
            const opacity = outer * parseFloat(style.opacity);
            // The background that text of this and of inner elements is cut out of.
            const clipping = /text/.test(style.backgroundClip) ? style : above;
            if (/invert\(/.test(style.filter)) changes.push({ element, pseudo: '', entries: [['filter', 'none']] });
            // Shadows within a box are a background, too.
            if (/inset/.test(style.boxShadow)) changes.push({ element, pseudo: '', entries: [['box-shadow', 'none']] });
            if (holdsText(element))
                if (element instanceof SVGElement) noteDrawn(element, style, opacity);
                else note(element, '', style, opacity, clipping);
            if (!(element instanceof SVGElement))
                for (const pseudo of pseudosOf(element, style)) {
                    const its = getComputedStyle(element, pseudo);
                    const isThere = !/before|after/.test(pseudo) || !/^(none|normal)$/.test(its.content);
                    if (isThere) note(element, pseudo, its, opacity, /text/.test(its.backgroundClip) ? its : clipping);
                }
            for (let child = firstElement(element); child; child = nextElement(child)) waiting.push([child, opacity, clipping]);
            for (const child of shadowOf(element)?.children ?? []) waiting.push([child, opacity, clipping]);
        }
    };
    const root = own(document, 'documentElement');
    if (root) visit(root);
    for (const tree of globalThis.closedTrees ?? []) for (const child of tree.children) visit(child);

    // ---- Changed all at once.

    const attribute = 'data-quirelle-colour';
    const rules = new Map();
    const marks = new Map();
    for (const { element, pseudo, entries } of changes)
        if (pseudo) {
            const text = entries.map(([property, value]) => `${property}: ${value} !important`).join('; ');
            const mark = rules.get(pseudo + text)?.mark ?? `c${rules.size}`;
            rules.set(pseudo + text, { mark, rule: `[${attribute}~="${mark}"]${pseudo} { ${text} }` });
            marks.set(element, [...(marks.get(element) ?? []), mark]);
        } else {
            for (const [property, value] of entries) own(element, 'style').setProperty(property, value, 'important');
        }
    for (const [element, names] of marks) Element.prototype.setAttribute.call(element, attribute, names.join(' '));
    if (rules.size === 0) return {};
    lasting.colourSheet ??= new CSSStyleSheet();
    lasting.colourSheet.replaceSync([...rules.values()].map(({ rule }) => rule).join('\n'));
    for (const scope of new Set([...marks.keys()].map((element) => Node.prototype.getRootNode.call(element))))
        if (!own(scope, 'adoptedStyleSheets').includes(lasting.colourSheet))
            Reflect.set(Object.getPrototypeOf(scope), 'adoptedStyleSheets', [...own(scope, 'adoptedStyleSheets'), lasting.colourSheet], scope);
    return {};
}
