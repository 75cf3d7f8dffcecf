// Makes the document ready for paper. Runs in a world of its own, so that nothing the page has redefined is met here,
// as often as the document may have changed.
(paper) => {
    // ---- Paper: the sizes that @page rules ask for give way to the one that is wanted, or are turned.

    const inPixels = (length) => {
        try {
            return CSSNumericValue.parse(length).to('px').value;
        } catch {
            return parseFloat(length) * 16; // font-relative, against the initial font size
        }
    };

    // The value of a "size" declaration, turned to paper.orientation.
    const turned = (size) => {
        const words = size.trim().match(/[\w.+-]+\((?:[^()]|\([^()]*\))*\)|\S+/g) || [];
        const lengths = words.filter((word) => /^[\d.+-]|\(/.test(word));
        if (lengths.length === 1) return size;
        if (lengths.length === 2) {
            const isLandscape = inPixels(lengths[0]) > inPixels(lengths[1]);
            return (isLandscape === (paper.orientation === 'landscape') ? lengths : lengths.reverse()).join(' ');
        }
        const name = words.find((word) => !/^(portrait|landscape|auto)$/i.test(word));
        return name ? `${name} ${paper.orientation}` : paper.orientation;
    };
    // What stands instead of the value of "margin" or "margin-top" and so on.
    const sides = ['top', 'right', 'bottom', 'left'];
    const marginInsteadOf = (property) => (property === 'margin' ? paper.margins.join(' ') : (paper.margins[sides.indexOf(property.slice(7))] ?? ''));
    const logicalMargins = ['block-start', 'block-end', 'inline-start', 'inline-end'].map((side) => `margin-${side}`);
    const sizeInsteadOf = (size) => paper.size ?? (paper.orientation ? turned(size) : size);

    // ---- Sheets that can be read are changed rule by rule, in place, so that the page's own order of rules goes on
    // deciding which of them holds.

    const everyRule = (rules, visit) => {
        for (const rule of rules) {
            visit(rule);
            const nested = rule instanceof CSSImportRule ? rule.styleSheet : rule;
            if (nested && 'cssRules' in nested) everyRule(rulesOf(nested), visit);
        }
    };
    let unreadable = 0;
    const rulesOf = (sheet) => {
        try {
            return sheet.cssRules;
        } catch {
            ++unreadable;
            return [];
        }
    };

    // An element's property itself: a form's fields hide those that they have the names of.
    const own = (element, name) => Reflect.get(Object.getPrototypeOf(element), name, element);

    const scopes = () => {
        const found = [document, ...(globalThis.closedTrees ?? [])];
        if (paper.background && paper.images) return found;
        for (const scope of found)
            for (const element of scope.querySelectorAll('*')) {
                const shadow = own(element, 'shadowRoot');
                if (shadow) found.push(shadow);
            }
        return found;
    };

    const put = (style, property, value) => {
        if (style.getPropertyValue(property) !== value)
            style.setProperty(property, value, style.getPropertyPriority(property));
    };
    const pageRules = [];
    const changeRule = (rule) => {
        if (rule instanceof CSSPageRule) {
            pageRules.push(rule);
            const size = rule.style.getPropertyValue('size');
            if (size) put(rule.style, 'size', sizeInsteadOf(size));
            if (paper.margins)
                for (const property of sides.map((side) => `margin-${side}`))
                    if (rule.style.getPropertyValue(property)) put(rule.style, property, marginInsteadOf(property));
            if (paper.margins) for (const property of logicalMargins) rule.style.removeProperty(property);
        }
        if (paper.single && rule.style) joinPages(rule.style);
        if (!paper.background && rule.style?.getPropertyValue('print-color-adjust'))
            put(rule.style, 'print-color-adjust', 'economy');
    };

    const breaks = ['break-before', 'break-after', 'page'];
    const joinPages = (style) => {
        for (const property of breaks) if (style.getPropertyPriority(property)) style.removeProperty(property);
    };

    const overrides = [];
    if (paper.single) overrides.push('*, ::before, ::after { break-before: auto !important; break-after: auto !important; page: auto !important }');
    if (paper.size) overrides.push(`@page { size: ${paper.size} !important; }`);
    if (paper.margins) overrides.push(`@page { margin: ${paper.margins.join(' ')} !important; }`);
    // Without the dark that they are made for, fields and colours of a dark scheme would stay, and so would blending.
    if (!paper.background)
        overrides.push('*, ::before, ::after { print-color-adjust: economy !important; color-scheme: only light !important; mix-blend-mode: normal !important; }');
    // The place of an image stays, without the sign for a broken one.
    if (!paper.images) overrides.push('img, input[type="image" i] { visibility: hidden !important; }');

    const changeScope = (scope) => {
        for (const sheet of [...scope.styleSheets, ...scope.adoptedStyleSheets])
            if (sheet !== globalThis.override) everyRule(rulesOf(sheet), changeRule);
        if (!paper.background)
            for (const element of scope.querySelectorAll('[style*="color-adjust" i]'))
                put(own(element, 'style'), 'print-color-adjust', 'economy');
        if (paper.single) for (const element of scope.querySelectorAll('[style*="!important" i]')) joinPages(own(element, 'style'));
        if (overrides.length > 0 && scope.adoptedStyleSheets.at(-1) !== globalThis.override)
            scope.adoptedStyleSheets = [
                ...scope.adoptedStyleSheets.filter((sheet) => sheet !== globalThis.override),
                globalThis.override,
            ];
    };

    const applyPaper = () => {
        globalThis.override ??= new CSSStyleSheet();
        if (globalThis.overrides !== overrides.join('\n')) {
            globalThis.overrides = overrides.join('\n');
            globalThis.override.replaceSync(globalThis.overrides);
        }
        unreadable = 0;
        pageRules.length = 0;
        for (const scope of scopes()) changeScope(scope);
        if (!paper.images) for (const image of document.querySelectorAll('feImage')) image.closest('filter')?.remove();
        // A frame that is an image itself.
        if (!paper.images && window !== top && document.contentType.startsWith('image/'))
            document.documentElement?.style.setProperty('visibility', 'hidden', 'important');
    };
    // ---- Sheets that cannot be read from here, such as files beside a file, come as text and are given back changed.

    // `text` with the values of "size" and margins in @page blocks and of "print-color-adjust" everywhere exchanged.
    const changedText = (text) => {
        const token = /\/\*[^]*?\*\/|"(?:[^"\\]|\\[^])*"|'(?:[^'\\]|\\[^])*'|[{};]|@page\b[^{};]*|[\w-]*(?:print-color-adjust|size|margin|margin-[\w-]+|break-before|break-after|page)\s*:[^;{}]*/gi;
        let depth = 0;
        let pageDepth = 0; // of the innermost @page block, 0 outside
        let pageAhead = false;
        return text.replace(token, (found) => {
            if (found === '{') {
                ++depth;
                if (pageAhead) pageDepth = depth;
                pageAhead = false;
            } else if (found === '}') {
                if (depth === pageDepth) pageDepth = 0;
                --depth;
            } else if (/^@page\b/i.test(found)) {
                pageAhead = true;
            } else if (!/^[/"']/.test(found) && found.includes(':')) {
                const [, name, value, important] = found.match(/^([\w-]*)\s*:([^]*?)(!\s*important\s*)?$/i);
                const declared = (changed) => `${name}:${changed}${important ? ' !important' : ''}`;
                if (pageDepth > 0 && depth === pageDepth) {
                    const bare = value.replace(/\/\*[^]*?\*\//g, ' ').trim();
                    if (/^size$/i.test(name)) return declared(sizeInsteadOf(bare));
                    if (paper.margins && /^margin/i.test(name)) return declared(marginInsteadOf(name.toLowerCase()));
                }
                if (paper.single && /^(page|(page-)?break-(before|after))$/i.test(name)) return '';
                if (/^(-webkit-)?print-color-adjust$/i.test(name) && !paper.background) return declared('economy');
            }
            return found;
        });
    };
    // ---- Before the page's scripts: what they read of its sheets is what will hold. Later changes are met below.

    if (paper.starting) {
        const coming = new Set();
        const isRead = (node) => node && (node.nextSibling || isRead(node.parentNode));
        const changeRead = (nodes) => {
            for (const node of nodes) if (node instanceof HTMLStyleElement || node instanceof SVGStyleElement) coming.add(node);
            for (const style of coming) {
                // The parser may still be adding to it.
                if (document.readyState === 'loading' && !isRead(style)) continue;
                coming.delete(style);
                const changed = changedText(style.textContent);
                if (changed !== style.textContent) style.textContent = changed;
            }
            for (const sheet of document.styleSheets) if (sheet.href) everyRule(rulesOf(sheet), changeRule);
        };
        new MutationObserver((records) => changeRead(records.flatMap(({ addedNodes }) => [...addedNodes])))
            .observe(document, { childList: true, subtree: true });
        document.addEventListener('load', ({ target }) => target instanceof HTMLLinkElement && changeRead([]), true);
        // The browser gets here no sooner than the first script does.
        changeRead(document.querySelectorAll('style'));
        return {};
    }

    applyPaper();
    // What the page changes until the last moment counts, too.
    if (!globalThis.applyPaper) addEventListener('beforeprint', () => globalThis.applyPaper());
    globalThis.applyPaper = applyPaper;

    const sheets = (paper.sheets ?? []).map((text) => changedText(text));
    const added = paper.added.map((text) => changedText(text));

    // ---- How wide the text stands on paper: what the rules for all pages together say; those of single pages do not
    // count.

    const general = {};
    const note = ({ selectorText, style }) => {
        if (selectorText) return;
        for (const property of ['size', 'margin-left', 'margin-right', 'margin-top', 'margin-bottom'])
            if (style.getPropertyValue(property)) general[property] = style.getPropertyValue(property).trim();
    };
    pageRules.forEach(note);
    for (const text of [...sheets, ...added]) {
        const sheet = new CSSStyleSheet();
        sheet.replaceSync(text.replace(/@import\b[^;]*;/gi, ''));
        everyRule(sheet.cssRules, (rule) => rule instanceof CSSPageRule && note(rule));
    }
    const millimetres = {
        a3: [297, 420], a4: [210, 297], a5: [148, 210], b4: [250, 353], b5: [176, 250], 'jis-b4': [257, 364],
        'jis-b5': [182, 257], letter: [215.9, 279.4], legal: [215.9, 355.6], ledger: [279.4, 431.8],
    };
    const sizeOf = (size) => {
        const words = size.toLowerCase().split(/\s+/);
        const named = words.map((word) => millimetres[word]).find(Boolean)?.map((side) => (side * 96) / 25.4);
        const lengths = words.filter((word) => /^[\d.]/.test(word)).map(inPixels);
        if (lengths.length > 0) return [lengths[0], lengths.at(-1)];
        const both = named ?? [paper.width, paper.height];
        const [short, long] = [Math.min(...both), Math.max(...both)];
        return words.includes('landscape') ? [long, short] : words.includes('portrait') ? [short, long] : both;
    };
    const [pageWidth, pageHeight] = sizeOf(general.size ?? '');
    const marginOf = (side) => {
        const margin = general[`margin-${side}`];
        if (!margin || margin === 'auto') return paper.usualMargins[side];
        return margin.endsWith('%') ? (parseFloat(margin) / 100) * (/left|right/.test(side) ? pageWidth : pageHeight) : inPixels(margin);
    };
    const textWidth = Math.round(pageWidth - marginOf('left') - marginOf('right'));
    const textHeight = Math.round(pageHeight - marginOf('top') - marginOf('bottom'));

    // ---- What is still to come is called for.

    let loading = document.fonts.status === 'loading';
    // Which image goes with the media is decided when it is drawn, and so is what a video shows.
    const changesWhenDrawn = (scope) =>
        scope.querySelector('source[media], video') !== null ||
        [...scope.querySelectorAll('*')].some(({ shadowRoot }) => shadowRoot instanceof ShadowRoot && changesWhenDrawn(shadowRoot));
    loading ||= changesWhenDrawn(document);
    for (const element of document.querySelectorAll('img[loading="lazy" i], iframe[loading="lazy" i]')) {
        element.loading = 'eager';
        loading = true;
    }
    // Fonts and images that only this layout uses are asked for now.
    if (document.documentElement) void document.documentElement.offsetHeight;
    loading ||= document.fonts.status === 'loading';

    // Animations with an end within reach come to it, as they would while somebody looked; others stand still where
    // they would be then.
    let animated = false;
    for (const animation of document.getAnimations()) {
        const rest = animation.effect?.getComputedTiming().endTime - (animation.currentTime ?? 0);
        if (animation.timeline !== document.timeline || animation.playState !== 'running') continue;
        if (rest <= paper.animationTime) {
            animation.finish();
        } else {
            animation.pause();
            animation.currentTime = paper.animationTime;
        }
        animated = true;
    }
    for (const drawing of document.querySelectorAll('svg:has(animate, animateMotion, animateTransform, set)')) {
        if (drawing.ownerSVGElement || drawing.animationsPaused()) continue;
        drawing.pauseAnimations();
        drawing.setCurrentTime(paper.animationTime / 1000);
        animated = true;
    }

    // Text that runs by stands where it can be read.
    for (const runner of document.querySelectorAll('marquee')) {
        const standing = document.createElement('div');
        const style = getComputedStyle(runner);
        for (const property of style) standing.style.setProperty(property, style.getPropertyValue(property));
        for (const { name, value } of runner.attributes) if (name !== 'style') standing.setAttribute(name, value);
        standing.append(...runner.childNodes);
        runner.replaceWith(standing);
    }

    // ---- What the document says of itself, for the PDF's information.

    const metas = new Map(); // the contents by name
    for (const meta of document.getElementsByTagName('meta')) {
        const content = meta.content.trim();
        if (!content) continue;
        for (const name of new Set([meta.name, meta.getAttribute('property') ?? ''].map((text) => text.toLowerCase())))
            metas.set(name, [...(metas.get(name) ?? []), content]);
    }
    const said = (...names) => metas.get(names.find((name) => metas.has(name)))?.join(', ') ?? '';
    const metadata = window === top && !paper.starting && {
        author: said('author', 'dcterms.creator', 'dc.creator', 'article:author'),
        keywords: said('keywords', 'dcterms.subject', 'dc.subject'),
        description: said('description', 'dcterms.description', 'dc.description', 'og:description'),
        generator: said('generator'),
        untitled: document.title === '',
        language: document.documentElement?.lang || document.querySelector('meta[http-equiv="content-language" i]')?.content || '',
        created: said('dcterms.created', 'dc.date.created', 'date', 'dcterms.date', 'dc.date', 'article:published_time'),
        modified: said('dcterms.modified', 'dc.date.modified', 'last-modified', 'article:modified_time'),
    };

    // ---- Whether it fits as it is: nothing reaches beyond the view or has to be scrolled to, and no shadow tree is there
    // in which something might have to be.

    const root = document.scrollingElement ?? document.documentElement;
    const isUnfit = (element) => {
        const style = getComputedStyle(element);
        // Asking for styles within costs more, and nothing is seen.
        if (style.display === 'none') return NodeFilter.FILTER_REJECT;
        const scrolls = (overflow, inside, room) => /auto|scroll/.test(overflow) && inside > room + 1;
        // Either both directions scroll or none.
        const isScroller = element !== root && style.overflowX !== 'visible' &&
            (scrolls(style.overflowX, element.scrollWidth, element.clientWidth) || scrolls(style.overflowY, element.scrollHeight, element.clientHeight));
        return isScroller || own(element, 'shadowRoot') ? NodeFilter.FILTER_ACCEPT : NodeFilter.FILTER_SKIP;
    };
    const fits = !root || (root.scrollWidth <= innerWidth &&
        document.createTreeWalker(document, NodeFilter.SHOW_ELEMENT, isUnfit).nextNode() === null);

    return {
        loading,
        animated,
        metadata,
        elements: document.getElementsByTagName('*').length,
        fits,
        textWidth,
        textHeight,
        paperWidth: pageWidth,
        paperHeight: pageHeight,
        usedMargins: sides.map(marginOf),
        sheets,
        added,
        unreadable: unreadable > 0,
    };
}
