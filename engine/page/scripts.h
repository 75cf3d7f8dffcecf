#pragma once

// What is run inside documents.

/// prepare.js, a function of {size, orientation, background, images, width, height, margin, animationTime,
/// sheets, added, starting}: `size` the paper as a CSS value or null, `orientation` "portrait", "landscape"
/// or null, `background` and `images` booleans, `width` and `height` of the paper and `margin` for pages that
/// set none in CSS pixels, `animationTime` in milliseconds, `sheets` texts of style sheets, or absent,
/// `added` those of sheets that come after them. With `starting`, which is for a document whose scripts have
/// not run, it only has the paper hold for what they read of its sheets, and returns {}. Otherwise returns
/// {loading, animated, textWidth, textHeight, sheets, added, unreadable}: whether this call has set anything
/// loading or has ended an animation, how wide and high the text stands on paper in CSS pixels, `sheets` and
/// `added` changed, and whether there are sheets that cannot be read.
extern const char prepareScript[];

/// fit.js, a function of {minimum, byBrowser, outside, shrinks, byPrinting, maximum}: the smallest text size
/// wanted and that which the browser keeps, both in CSS pixels; the factor at which the frame is drawn by
/// what is around it; whether its width decides how far the page is shrunk; how far the browser shrinks it by
/// itself, and how far it may be shrunk. Returns {shrinking, smallest, rightToLeft, pictures, scalesFrames,
/// hidingBoxes, pseudosAreUnknown}: how far the page must be shrunk, 1 if it fits; the smallest text then, in
/// CSS pixels on paper, at most `minimum`; whether the page grows to the left; its images, each {address,
/// width, height, minimum, naturalWidth, naturalHeight} in CSS pixels; whether it draws frames smaller or
/// larger than they are, whose factors then are in globalThis.frameFactors; selectors of the scrolling boxes
/// that hide text; whether sheets that it could not read may give pseudo-elements sizes of their own, for
/// which `enlargePseudos` then is to be called. Both stand
/// in what lasts from one call to the next, globalThis[Symbol.for('quirelle')].
extern const char fitScript[];

/// height.js, a function of {step}, see there. Returns {}, and for the last step {height}, that of the
/// content in CSS pixels.
extern const char heightScript[];

/// readable.js, a function without argument, for pages whose backgrounds are left out. Returns {}.
extern const char readableScript[];

/// picture.js, a function of {text, shown}: an SVG file, and how it is shown, as in `pictures` of fit.js.
/// Returns {enlarged}, the file with larger text, or {} if it needs none.
extern const char pictureScript[];

/// blank.js, a function that has the blank page in which picture.js runs load nothing. Returns {isReady}.
extern const char blankScript[];

/// replace.js, a function of {addresses}: by places in `pictures` of fit.js, {from, to}, the address of an
/// image and the one that it is loaded from instead. Returns {coming}, how many of those are still being
/// loaded.
extern const char replaceScript[];

/// shim.js, a script to run before those of a page, in the page's own world and in its workers.
extern const char shimScript[];

/// show.js, a function of {begin, isFirst}: the height in CSS pixels down to which the document has been
/// shown already. To be called and drawn in turn until it returns {isOver, shown, height}, these two in CSS
/// pixels.
extern const char showScript[];

/// targets.js, a function of {headings, all}: the PDF is to have destinations for so many headings at most,
/// and for every place that others may link to. Returns {headings}, each {level, title, name}: from 1, its
/// text, and the name of its destination.
extern const char targetsScript[];
