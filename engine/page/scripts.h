#pragma once

// What is run inside documents.

/// prepare.js, a function of {size, orientation, background, images, width, height, margin, animationTime,
/// sheets}: `size` the paper as a CSS value or null, `orientation` "portrait", "landscape" or null,
/// `background` and `images` booleans, `width` and `height` of the paper and `margin` for pages that set none
/// in CSS pixels, `animationTime` in milliseconds, `sheets` texts of style sheets, or absent. Returns
/// {loading, animated, textWidth, sheets, unreadable}: whether this call has set anything loading or has
/// ended an animation, how wide the text stands on paper in CSS pixels, `sheets` changed, and whether there
/// are sheets that cannot be read.
extern const char prepareScript[];

/// enlarge.js, a function of {minimum, byBrowser}: the smallest text size wanted, and that which the browser
/// keeps, in CSS pixels.
extern const char enlargeScript[];

/// shim.js and listen.js, each a script to run before those of a page: the first in the page's own world and
/// in its workers, the second in the engine's world, where prepare.js runs.
extern const char shimScript[];
extern const char listenScript[];

/// show.js, a function of the height in CSS pixels down to which the document has been shown already; its
/// promise is kept when the rest has been drawn.
extern const char showScript[];
