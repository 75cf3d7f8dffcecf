// Finds out how tall the document's content is. Heights that follow the window's keep what they have in the window that
// the first step meets: `step` is "note" in that window, "pin" in a taller one, and "measure" in the first one again.
// Runs in the engine's world.
({ step }) => {
    const lasting = (globalThis[Symbol.for('quirelle')] ??= {});
    const own = (element, name) => Reflect.get(Object.getPrototypeOf(element), name, element);
    const properties = ['height', 'min-height', 'max-height', 'padding-top', 'padding-bottom', 'margin-top', 'margin-bottom', 'font-size', 'top'];
    const valuesOf = (element) => {
        const style = getComputedStyle(element);
        const values = properties.map((property) => style.getPropertyValue(property));
        // What hangs on the lower edge goes with it.
        const isHung = /absolute|fixed/.test(style.position) && style.bottom === lasting.bottoms?.get(element);
        return isHung ? values.with(properties.indexOf('top'), undefined) : values;
    };
    const all = document.getElementsByTagName('*');
    if (step === 'note') {
        lasting.bottoms = undefined;
        lasting.heights = new Map([...all].map((element) => [element, valuesOf(element)]));
        lasting.bottoms = new Map([...all].map((element) => [element, getComputedStyle(element).bottom]));
        return {};
    }
    if (step === 'pin') {
        const differs = ([element, before]) => valuesOf(element).some((value, i) => value !== undefined && value !== before[i]);
        // The innermost first: those around them may only follow them.
        for (const [element, before] of [...lasting.heights].filter(differs).reverse())
            valuesOf(element).forEach((value, i) => {
                if (value !== undefined && value !== before[i]) own(element, 'style')?.setProperty(properties[i], before[i], 'important');
            });
        return {};
    }
    const root = document.scrollingElement ?? document.documentElement;
    if (!root) return { height: 0 };
    if (root.scrollHeight > innerHeight) return { height: root.scrollHeight };
    let height = 0;
    for (const element of all)
        if (getComputedStyle(element).position !== 'fixed')
            height = Math.max(height, element.getBoundingClientRect().bottom + scrollY);
    return { height };
}
