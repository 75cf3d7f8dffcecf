// Makes the document ready for paper. Runs in a world of its own, so that nothing the page has redefined is met here,
// as often as the document may have changed. Returns {loading, textWidth, watchesScrolling}: whether this call has set
// anything loading, how wide the text stands on paper in CSS pixels, and whether the page watches what comes into view.
(paper) => {
    // Sheets of other origins cannot be read; the override at the end reaches what they say as well, short of
    // their own "!important".
    const readableRules = (sheet) => {
        try {
            return [...sheet.cssRules];
        } catch {
            return [];
        }
    };

    const pageRules = [];
    const visit = (sheet) => {
        for (const rule of readableRules(sheet)) {
            if (rule instanceof CSSPageRule) pageRules.push(rule);
            else if (rule instanceof CSSImportRule) rule.styleSheet && visit(rule.styleSheet);
            else if (rule.cssRules && !(rule instanceof CSSStyleRule)) visit(rule);
        }
    };

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

    for (const sheet of [...document.styleSheets, ...document.adoptedStyleSheets]) visit(sheet);
    for (const { style } of pageRules) {
        const size = style.getPropertyValue('size');
        if (!size) continue;
        // In place, so that the page's own order of rules goes on deciding which of them holds.
        if (paper.size) style.setProperty('size', paper.size, style.getPropertyPriority('size'));
        else if (paper.orientation) style.setProperty('size', turned(size), style.getPropertyPriority('size'));
    }

    const overrides = [];
    if (paper.size) overrides.push(`@page { size: ${paper.size} !important; }`);
    if (!paper.background) {
        const economy = 'print-color-adjust: economy !important;';
        overrides.push(`*, ::before, ::after { ${economy} }`);
        for (const element of document.querySelectorAll('[style*="color-adjust" i]'))
            element.style.setProperty('print-color-adjust', 'economy', 'important');
    }
    if (overrides.length > 0) {
        // One sheet for all calls, kept last; globalThis is this world's own.
        globalThis.override ??= new CSSStyleSheet();
        globalThis.override.replaceSync(overrides.join('\n'));
        const others = document.adoptedStyleSheets.filter((sheet) => sheet !== globalThis.override);
        document.adoptedStyleSheets = [...others, globalThis.override];
    }

    // What the rules for all pages together say; those of single pages do not count.
    const general = {};
    for (const { selectorText, style } of pageRules) {
        if (selectorText) continue;
        for (const property of ['size', 'margin-left', 'margin-right'])
            if (style.getPropertyValue(property)) general[property] = style.getPropertyValue(property).trim();
    }
    const millimetres = {
        a3: [297, 420], a4: [210, 297], a5: [148, 210], b4: [250, 353], b5: [176, 250], 'jis-b4': [257, 364],
        'jis-b5': [182, 257], letter: [215.9, 279.4], legal: [215.9, 355.6], ledger: [279.4, 431.8],
    };
    const widthOf = (size) => {
        const words = size.toLowerCase().split(/\s+/);
        const sides = words.map((word) => millimetres[word]).find(Boolean);
        if (sides) return (sides[words.includes('landscape') ? 1 : 0] * 96) / 25.4;
        return /^[\d.]/.test(size) ? inPixels(words[0]) : paper.width;
    };
    const pageWidth = general.size ? widthOf(general.size) : paper.width;
    const marginOf = (margin) => {
        if (!margin || margin === 'auto') return paper.margin;
        return margin.endsWith('%') ? (parseFloat(margin) / 100) * pageWidth : inPixels(margin);
    };
    const textWidth = pageWidth - marginOf(general['margin-left']) - marginOf(general['margin-right']);

    let loading = document.fonts.status === 'loading';
    for (const element of document.querySelectorAll('img[loading="lazy" i], iframe[loading="lazy" i]')) {
        element.loading = 'eager';
        loading = true;
    }
    // Fonts and images that only this layout uses are asked for now.
    if (document.documentElement) void document.documentElement.offsetHeight;
    loading ||= document.fonts.status === 'loading';
    return { loading, textWidth: Math.round(textWidth), watchesScrolling: Boolean(globalThis.watchesScrolling) };
}
