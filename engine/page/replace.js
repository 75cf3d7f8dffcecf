// Has pictures, which fit.js has listed, loaded anew: those of `addresses` from their own address or from another one.
// The addresses are by the pictures' places in the list. Told again with none, returns how many are still to come.
({ addresses }) => {
    const lasting = (globalThis[Symbol.for('quirelle')] ??= {});
    const coming = (lasting.comingPictures ??= new Set());
    // The addresses that pictures had, by those that they have been given.
    const given = (lasting.pictureAddresses ??= new WeakMap());
    for (const [i, { from, to }] of Object.entries(addresses ?? {})) {
        const image = lasting.pictures[i];
        const isHtml = image instanceof HTMLImageElement;
        const before = isHtml ? image.currentSrc : image.href.baseVal;
        const show = (address) => {
            if (isHtml) image.src = address;
            else image.setAttribute('href', address);
        };
        coming.add(image);
        const done = (event) => {
            // The page has had its event.
            event.stopImmediatePropagation();
            coming.delete(image);
            image.removeEventListener('load', done, true);
            image.removeEventListener('error', failed, true);
        };
        const failed = (event) => {
            done(event);
            show(before);
        };
        image.addEventListener('load', done, true);
        image.addEventListener('error', failed, true);
        if (isHtml) {
            if (image.parentElement instanceof HTMLPictureElement)
                for (const source of image.parentElement.querySelectorAll(':scope > source')) source.media = 'not all';
            image.removeAttribute('srcset');
            image.loading = 'eager';
        }
        given.set(image, new Map([[to, from]]));
        show(to);
    }
    return { coming: coming.size };
}
