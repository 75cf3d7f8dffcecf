// Fits a document to the paper: enlarges text that is drawn smaller than `minimum` CSS pixels, be it through transforms,
// zoom, the coordinates of SVG or the shrinking of a page that is wider than the paper, and measures how far such a page
// has to be shrunk. Plain text is at least `byBrowser` pixels high already. 0 for `minimum`: measures only. `outside` is
// the factor at which the frame is drawn by what is around it. `shrinks`: it is the main frame, the one whose width
// counts. It can be shrunk `maximum` times; the browser shrinks it `byPrinting` times by itself. Runs in a world of its
// own, and begins anew when called again.
({ minimum, byBrowser, outside, shrinks, byPrinting, maximum }) => {
    // What an object's class gives it: fields hide those properties of their form, and images those of their document,
    // that they have the names of.
    const own = (object, name) => {
        const value = Reflect.get(Object.getPrototypeOf(object), name, object);
        return typeof value === 'function' ? value.bind(object) : value;
    };
    const getter = (owner, name) => {
        const { get } = Object.getOwnPropertyDescriptor(owner.prototype, name);
        return (object) => get.call(object);
    };
    // What lasts from one call to the next, under a name that no element can have.
    const lasting = (globalThis[Symbol.for('quirelle')] ??= {});
    const firstNode = getter(Node, 'firstChild');
    const nextNode = getter(Node, 'nextSibling');
    const parentOf = getter(Node, 'parentElement');
    const scrollWidthOf = getter(Element, 'scrollWidth');
    const scrollHeightOf = getter(Element, 'scrollHeight');
    const clientWidthOf = getter(Element, 'clientWidth');
    const clientHeightOf = getter(Element, 'clientHeight');
    const shadowOf = getter(Element, 'shadowRoot');
    const matches = (element, selector) => Element.prototype.matches.call(element, selector);
    const top = own(document, 'documentElement');
    const body = own(document, 'body');
    // Visits an element and what is in it, shadow trees too, each after what it stands in, with what `visit` has returned
    // for that. What stands in an element for which it has returned nothing is left out.
    const walk = (element, given, visit) => {
        const trees = element ? [[element, given]] : [];
        while (trees.length > 0) {
            const [tree, host] = trees.pop();
            const walker = own(document, 'createTreeWalker')(tree, NodeFilter.SHOW_ELEMENT);
            const above = [host];
            let at = tree === element ? tree : walker.firstChild();
            while (at) {
                const inside = visit(at, above.at(-1));
                const shadow = inside === undefined ? null : shadowOf(at);
                if (shadow) trees.push([shadow, inside]);
                at = inside === undefined ? null : walker.firstChild();
                if (at) above.push(inside);
                while (!at && (at = walker.nextSibling()) === null && above.length > 1) {
                    walker.parentNode();
                    above.pop();
                }
            }
        }
    };
    const boxOf = (element) => Element.prototype.getBoundingClientRect.call(element);
    const nameOf = getter(Element, 'localName');
    const styleOf = (element) => own(element, 'style');
    const pixels = (length) => parseFloat(length) || 0;

    // ---- What an earlier call has changed is taken back.

    const changed = (lasting.changed ??= new Map());
    const put = (element, property, value) => {
        const style = styleOf(element);
        const of = changed.get(element) ?? changed.set(element, new Map()).get(element);
        if (!of.has(property)) of.set(property, [style.getPropertyValue(property), style.getPropertyPriority(property)]);
        style.setProperty(property, value, 'important');
    };
    const takeBack = (element, property) => {
        const before = changed.get(element)?.get(property);
        if (!before) return;
        changed.get(element).delete(property);
        styleOf(element).setProperty(property, ...before);
    };
    const takeAllBack = () => {
        for (const [element, properties] of changed) for (const property of [...properties.keys()]) takeBack(element, property);
        changed.clear();
        lasting.textSheet?.replaceSync('');
    };
    takeAllBack();

    // ---- Text: an entry for each element that has some.

    // An image that is missing shows its alternative text.
    const controls = new Set(['input', 'textarea', 'select', 'button', 'meter', 'progress', 'img']);
    const replaced = new Set(['iframe', 'frame', 'object', 'embed', 'video', 'canvas', 'hr']);
    const holdsText = (element, name, style, display) => {
        let blanks = false;
        for (let node = firstNode(element); node; node = nextNode(node)) {
            if (node.nodeType !== Node.TEXT_NODE) continue;
            if (/\S/.test(node.data)) return true;
            blanks = true;
        }
        return controls.has(name) || display.includes('list-item') || (blanks && style.whiteSpaceCollapse !== 'collapse');
    };

    const scaleOf = ({ a, b, c, d }) => Math.sqrt(Math.abs(a * d - b * c));
    const ownFactor = (name, style, display) => {
        const { zoom } = style;
        let factor = zoom === '1' ? 1 : parseFloat(zoom);
        // Boxes within lines are not transformed, only what stands in a line as one piece.
        if (display === 'inline' && !controls.has(name) && !replaced.has(name)) return factor;
        const { transform, scale } = style;
        if (transform !== 'none') factor *= scaleOf(new DOMMatrixReadOnly(transform));
        if (scale !== 'none') {
            const [x, y = x] = scale.split(' ').map(parseFloat);
            factor *= Math.sqrt(Math.abs(x * y));
        }
        return factor;
    };

    // Fonts without small capitals of their own get capitals of this size instead (Blink's synthesis).
    const smallCapitals = 0.7;
    const capitalsOf = ({ fontVariantCaps: caps }) => (caps === 'normal' || caps === 'titling-caps' ? 1 : smallCapitals);

    const isAdjusted = ({ fontSizeAdjust }) => fontSizeAdjust !== 'none';

    // Frames are drawn at this factor; other frames at that of this document.
    lasting.frameFactors = new WeakMap();
    let texts = [];
    let entries = new Map(); // by element
    // The elements whose text keeps its size.
    const kept = new Set();
    let pseudoHosts = [];
    let images = [];
    // The boxes that scroll if what is in them goes beyond them, with their styles.
    let scrollers = [];
    const noteIfScroller = (element, style) => {
        // Either both directions scroll or none.
        if (style.overflowX !== 'visible' && element !== top && element !== body) scrollers.push({ element, style });
    };
    let scalesFrames = false;

    // All text, or only that whose size on paper is not the one that its style says.
    const findText = (all) => {
        texts = [];
        pseudoHosts = [];
        images = [];
        scrollers = [];
        walk(top, { factor: outside, text: null }, (element, above) => {
            const style = getComputedStyle(element);
            const { display } = style;
            if (display === 'none') return undefined;
            noteIfScroller(element, style);
            const name = nameOf(element);
            const isSvg = element instanceof SVGElement;
            // Knows every transform, zoom and view box up to the page.
            const matrix = isSvg ? own(element, 'getScreenCTM')?.() : undefined;
            const factor = matrix ? scaleOf(matrix) * outside : isSvg ? above.factor : above.factor * ownFactor(name, style, display);
            let { text } = above;
            if (factor > 0) {
                const counts = all || isSvg || factor * capitalsOf(style) < 0.999 || isAdjusted(style);
                const size = counts && holdsText(element, name, style, display) ? parseFloat(style.fontSize) : 0;
                if (size > 0) {
                    text = { element, parent: text, isSvg, adjusts: isAdjusted(style), size, factor: factor * capitalsOf(style) };
                    texts.push(text);
                }
                if (counts && !isSvg) pseudoHosts.push({ element, style, factor });
            }
            if ((name === 'img' && element instanceof HTMLImageElement) || (name === 'image' && isSvg))
                images.push({ element, style, factor });
            if (Math.abs(factor - 1) > 0.001 && /^(i?frame|object|embed)$/.test(name)) {
                lasting.frameFactors.set(element, factor);
                scalesFrames = true;
            }
            return factor === above.factor && text === above.text ? above : { factor, text };
        });
        entries = new Map(texts.map((entry) => [entry.element, entry]));
        specify(texts.filter(({ isSvg, size }) => isSvg && size <= byBrowser * 1.001));
    };

    // The sizes that styles ask for, where the browser says a larger one: SVG is drawn at it, and `em` are made of it.
    const specify = (some) => {
        for (const { element } of some) {
            put(element, 'scroll-margin-top', '1em');
            put(element, 'scroll-margin-left', '1ex');
        }
        for (const entry of some) {
            const { scrollMarginTop, scrollMarginLeft } = getComputedStyle(entry.element);
            entry.specified = pixels(scrollMarginTop);
            entry.aspect = pixels(scrollMarginLeft) / entry.size;
            if (entry.isSvg) entry.size = entry.specified;
        }
        for (const { element } of some) for (const side of ['top', 'left']) takeBack(element, `scroll-margin-${side}`);
    };

    // Pseudo-elements follow their elements, unless they have a size of their own. They get theirs by rules, one for each.
    const attribute = 'data-quirelle-text';
    const pseudosOf = (element, style) => {
        const pseudos = ['::before', '::after'];
        if (style.display.includes('list-item')) pseudos.push('::marker');
        if (/^(block|list-item|table-cell|inline-block|flow-root)/.test(style.display))
            pseudos.push('::first-letter', '::first-line');
        if (matches(element, 'input, textarea')) pseudos.push('::placeholder');
        return pseudos;
    };
    const enlargePseudos = (shrinking) => {
        lasting.textSheet?.replaceSync('');
        const rules = new Map();
        const marked = new Map();
        for (const { element, style, factor } of pseudoHosts) {
            // What is no smaller than its element is large enough: the browser sees to that.
            const suffices = (minimum * shrinking) / (factor * capitalsOf(style)) <= byBrowser * 1.001;
            if (suffices || kept.has(element)) continue;
            for (const pseudo of pseudosOf(element, style)) {
                const its = getComputedStyle(element, pseudo);
                // The first line and letter are text of the element; what has no content is not there.
                if (pseudo.startsWith('::first') ? its.fontSize === style.fontSize : its.content === 'none') continue;
                const size = parseFloat(its.fontSize);
                const needed = (minimum * shrinking) / (factor * capitalsOf(its));
                if (!(size > 0) || size >= needed * 0.999) continue;
                const mark = `${pseudo.slice(2)}-${needed.toFixed(2)}`;
                rules.set(mark, `[${attribute}~="${mark}"]${pseudo} { font-size: ${needed}px !important; }`);
                marked.set(element, [...(marked.get(element) ?? []), mark]);
            }
        }
        for (const [element, marks] of marked) Element.prototype.setAttribute.call(element, attribute, marks.join(' '));
        if (rules.size === 0) return;
        lasting.textSheet ??= new CSSStyleSheet();
        lasting.textSheet.replaceSync([...rules.values()].join('\n'));
        for (const scope of new Set([...marked.keys()].map((element) => Node.prototype.getRootNode.call(element))))
            if (!own(scope, 'adoptedStyleSheets').includes(lasting.textSheet))
                Reflect.set(Object.getPrototypeOf(scope), 'adoptedStyleSheets', [...own(scope, 'adoptedStyleSheets'), lasting.textSheet], scope);
    };

    // Gives all text the size that it needs on a page which is shrunk, but to that which is kept as it is. `further` than
    // the page is shrunk without a minimum, larger text has to grow, too.
    const enlarge = (shrinking, further = 1, some = texts) => {
        for (const entry of some) {
            const { element, parent, isSvg, adjusts, size, factor } = entry;
            const isKept = kept.has(element);
            const needed = (minimum * shrinking) / factor;
            const least = size * further;
            entry.wanted = isKept ? size : least >= needed * 0.999 ? least : needed;
            const drawn = isKept ? (entry.specified ?? size) : entry.wanted;
            entry.drawn = drawn * factor;
            // What is relative to text above it would follow that.
            entry.isSet = entry.wanted !== size || Boolean(parent?.isSet);
            if (entry.isSet) put(element, 'font-size', `${entry.wanted}px`);
            else takeBack(element, 'font-size');
            // Draws text in another size than its style says, and so also in one below the browser's minimum.
            if (drawn < entry.wanted) put(element, 'font-size-adjust', String((entry.aspect * drawn) / entry.wanted));
            else if (adjusts && !isSvg) put(element, 'font-size-adjust', 'none');
            else takeBack(element, 'font-size-adjust');
        }
    };

    // ---- The page's width.

    const root = own(document, 'scrollingElement') ?? top;
    const rightToLeft = root && getComputedStyle(body ?? root).direction === 'rtl';
    const clips = (element) => element && /hidden|clip/.test(getComputedStyle(element).overflowX);
    const clipsItself = clips(top) || clips(body);
    const view = innerWidth;

    const beyond = ({ left, right }) => (rightToLeft ? view - left - scrollX : right + scrollX);

    // How far that reaches which can be seen. What is too far away to come onto the paper is where nobody should see it.
    const reach = () => {
        let most = view;
        const note = (box, limit) => {
            const from = rightToLeft ? view - box.right - scrollX : box.left + scrollX;
            if (box.width > 0 && box.height > 0 && from < view * maximum) most = Math.max(most, Math.min(beyond(box), limit, view * maximum));
        };
        const range = new Range();
        walk(root, Infinity, (element, outer) => {
            const style = getComputedStyle(element);
            if (style.display === 'none' || style.opacity === '0') return undefined;
            let limit = outer;
            if (style.visibility === 'visible') {
                const isShown = element instanceof SVGSVGElement || controls.has(nameOf(element)) || replaced.has(nameOf(element)) ||
                    style.backgroundImage !== 'none' || !/^rgba.*, 0\)$|\/ 0\)$/.test(style.backgroundColor) ||
                    ['Top', 'Right', 'Bottom', 'Left'].some((side) => style[`border${side}Style`] !== 'none');
                if (isShown && element !== top && element !== body) note(boxOf(element), limit);
            }
            if (element !== root && element !== body && style.overflowX !== 'visible') limit = Math.min(limit, beyond(boxOf(element)));
            if (style.visibility === 'visible')
                for (let node = firstNode(element); node; node = nextNode(node)) {
                    if (node.nodeType !== Node.TEXT_NODE || !/\S/.test(node.data)) continue;
                    range.selectNodeContents(node);
                    note(range.getBoundingClientRect(), limit);
                }
            return element instanceof SVGSVGElement ? undefined : limit;
        });
        return most;
    };

    const shrinking = () => {
        const full = root.scrollWidth / view;
        if (full <= 1 || (full <= byPrinting && !rightToLeft)) return Math.max(full, 1);
        if (clipsItself) return rightToLeft ? 1 : byPrinting;
        const seen = reach() / view;
        return rightToLeft ? seen : Math.max(seen, byPrinting);
    };

    // Boxes that reach beyond `limit` by text in them that has been enlarged, by the browser or here.
    const widenedBoxes = (limit) => {
        const boxes = new Set();
        const range = new Range();
        const start = body ?? root;
        walk(start, true, (element) => {
            const isWithin = () => {
                const [scrollWidth, clientWidth] = [scrollWidthOf(element), clientWidthOf(element)];
                // Nothing in it goes beyond its own box.
                return clientWidth > 0 && scrollWidth <= clientWidth && beyond(boxOf(element)) <= limit;
            };
            if (element !== start && isWithin()) return undefined;
            const entry = entries.get(element);
            if (!entry || (!entry.isSet && entry.size > byBrowser * 1.001)) return true;
            range.selectNodeContents(element);
            if (Math.max(beyond(range.getBoundingClientRect()), beyond(boxOf(element))) <= limit) return true;
            let box = element;
            while (parentOf(box) && parentOf(box) !== body && (beyond(boxOf(parentOf(box))) > limit || /^(inline|contents)$/.test(getComputedStyle(box).display)))
                box = parentOf(box);
            boxes.add(box);
            return true;
        });
        return boxes;
    };

    // Keeps the text in these boxes at the size that it has without a minimum. Returns whether any had another.
    const keep = (boxes) => {
        let any = false;
        for (const box of boxes) {
            const inside = [box, ...Element.prototype.querySelectorAll.call(box, '*')]
                .map((element) => entries.get(element))
                .filter((entry) => entry && !kept.has(entry.element));
            specify(inside.filter(({ isSvg, size, specified }) => !isSvg && specified === undefined && size <= byBrowser * 1.001));
            for (const { element, isSet, size, specified = size } of inside) {
                any ||= isSet || specified < size;
                kept.add(element);
            }
        }
        return any;
    };

    // How far the page must be shrunk with `some` of its text enlarged for that, if the larger text makes it but a little
    // wider and then fits; nothing otherwise.
    const slightly = 1.25;
    const maximumRounds = 4;
    const grow = (base, some) => {
        const fitsAt = (factor) => {
            enlarge(factor, factor / base, some);
            return shrinking() <= factor * 1.001;
        };
        let growth = slightly - 1;
        for (let round = 0, factor = base; round < maximumRounds; ++round) {
            enlarge(factor, 1, some);
            const needed = shrinking();
            if (needed <= factor * 1.001) return factor === base || fitsAt(factor) ? factor : undefined;
            if (needed / factor - 1 > growth || needed > maximum) return undefined;
            growth = (needed / factor - 1) / 2;
            factor = needed;
        }
        return undefined;
    };

    // Whether the page may come to fit. Its width grows with its text; what that comes to is told by the widths with the
    // text that the browser has enlarged, and with that text kept.
    const mayGrow = (before, base) => {
        const own = Math.min(byBrowser, ...[...kept].map((element) => entries.get(element).specified ?? byBrowser));
        if (own >= byBrowser * 0.999) return true;
        const byText = (before - base) / (byBrowser - own);
        const needed = (base - byText * own) / (1 - byText * minimum);
        return needed > 0 && needed <= base * slightly;
    };

    // Text that makes the page wider keeps its size, if the page would have to be shrunk much further.
    const shrinkUntilKept = (factor) => {
        enlarge(factor);
        let needed;
        for (let round = 0; round < maximumRounds && (needed = shrinking()) > factor * 1.001; ++round) {
            if (!keep(widenedBoxes(view * factor + 1))) return needed;
            enlarge(factor);
        }
        return Math.max(factor, needed);
    };

    const fit = () => {
        const needed = shrinks && root ? shrinking() : 1;
        if (!(minimum > 0)) return needed;
        if (needed <= 1.001) {
            findText(false);
            enlarge(1);
            if (!shrinks || !root || shrinking() <= 1.001) return 1;
            takeAllBack();
        }
        findText(true);
        const before = shrinking();
        const base = shrinkUntilKept(1);
        if (mayGrow(before, base)) {
            const widening = [...kept].map((element) => entries.get(element));
            kept.clear();
            // If not even with that text alone, there is no need to lay out all of it anew.
            const grown = grow(base, widening) && grow(base, texts);
            if (grown) return grown;
        }
        return shrinkUntilKept(base);
    };

    const factor = fit();

    enlargePseudos(factor);

    // A page that goes to the left comes onto the paper as one that goes to the right, which the browser can shrink.
    if (shrinks && rightToLeft && factor > 1.001 && body) {
        put(top, 'direction', 'ltr');
        put(body, 'direction', 'rtl');
        put(body, 'box-sizing', 'border-box');
        put(body, 'min-width', `${Math.ceil(factor * view)}px`);
    }

    // ---- Pictures, which show text of their own.

    const naturalBox = ({ element, style }) => {
        if (element instanceof SVGImageElement) {
            const { width, height } = element.getBBox();
            return { width, height };
        }
        const inset = (...sides) => (style.boxSizing === 'border-box' ? sides.reduce((sum, side) => sum + pixels(style[side]), 0) : 0);
        const width = pixels(style.width) - inset('paddingLeft', 'paddingRight', 'borderLeftWidth', 'borderRightWidth');
        const height = pixels(style.height) - inset('paddingTop', 'paddingBottom', 'borderTopWidth', 'borderBottomWidth');
        const [across, down] = [width / element.naturalWidth, height / element.naturalHeight];
        const scale = { contain: Math.min(across, down), cover: Math.max(across, down), none: 1, 'scale-down': Math.min(across, down, 1) }[style.objectFit];
        return scale ? { width: element.naturalWidth * scale, height: element.naturalHeight * scale } : { width, height };
    };
    lasting.pictures = [];
    const pictures = [];
    if (minimum > 0)
        for (const image of images) {
            const { element } = image;
            const shown = element instanceof SVGImageElement ? element.href.baseVal : element.currentSrc;
            if (!shown || !(image.factor > 0)) continue;
            const { href, origin } = new URL(shown, own(document, 'baseURI'));
            // Another server would have to allow what the engine puts in its place.
            if (element.hasAttribute('crossorigin') && origin !== location.origin) continue;
            const address = lasting.pictureAddresses?.get(element)?.get(shown) ?? href.split('#')[0];
            lasting.pictures.push(element);
            pictures.push({
                address, ...naturalBox(image), minimum: (minimum * factor) / image.factor,
                naturalWidth: element.naturalWidth ?? 0, naturalHeight: element.naturalHeight ?? 0,
            });
        }

    // ---- Scrolling boxes whose text would have to be scrolled to.

    const maximumBoxes = 10;
    const hidesText = (box, { left, top, right, bottom }) => {
        const walker = own(document, 'createTreeWalker')(box, NodeFilter.SHOW_TEXT);
        const range = new Range();
        while (walker.nextNode()) {
            if (!/\S/.test(walker.currentNode.data)) continue;
            range.selectNodeContents(walker.currentNode);
            const text = range.getBoundingClientRect();
            if (text.width > 0 && (text.right > right + 1 || text.bottom > bottom + 1 || text.left < left - 1 || text.top < top - 1)) return true;
        }
        return false;
    };
    const selectorOf = (element) => {
        const [id, classes] = ['id', 'class'].map((name) => Element.prototype.getAttribute.call(element, name) ?? '');
        return nameOf(element) + (id && `#${id}`) + classes.split(/\s+/).filter(Boolean).map((name) => `.${name}`).join('');
    };
    const hidingBoxes = [];
    if (!shrinks && root && (root.scrollHeight > innerHeight + 1 || root.scrollWidth > innerWidth + 1) &&
        hidesText(root, { left: 0, top: 0, right: innerWidth, bottom: innerHeight }))
        hidingBoxes.push(`iframe (${location.href.split(/[?#]/)[0]})`);
    if (!(minimum > 0))
        walk(top, true, (element) => {
            const style = getComputedStyle(element);
            if (style.display === 'none') return undefined;
            noteIfScroller(element, style);
            return true;
        });
    for (const { element, style } of scrollers) {
        if (hidingBoxes.length >= maximumBoxes) break;
        const scrolls = (overflow, inside, room) => /auto|scroll/.test(overflow) && inside > room + 1;
        if (!scrolls(style.overflowX, scrollWidthOf(element), clientWidthOf(element)) &&
            !scrolls(style.overflowY, scrollHeightOf(element), clientHeightOf(element)))
            continue;
        if (nameOf(element) === 'textarea' || hidesText(element, boxOf(element))) hidingBoxes.push(selectorOf(element));
    }

    // ---- What the facts are.

    const smallest = texts.reduce((least, { drawn }) => Math.min(least, drawn / factor), minimum);
    const elements = Document.prototype.getElementsByTagName.call(document, '*').length;
    return { elements, shrinking: factor, smallest, rightToLeft, pictures, scalesFrames, hidingBoxes };
}
