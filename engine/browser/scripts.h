#pragma once

// What is run inside documents.

/// prepare.js, a function of {size, orientation, background, width, margin}: `size` the paper as a CSS value
/// or null, `orientation` "portrait", "landscape" or null, `background` a boolean, `width` of the paper and
/// `margin` for pages that set none, in CSS pixels.
extern const char prepareScript[];

/// enlarge.js, a function of {minimum, byBrowser}: the smallest text size wanted, and that which the browser
/// keeps, in CSS pixels.
extern const char enlargeScript[];

/// listen.js and notice.js, each a script to run before those of the page: the first in the engine's own
/// world, the second in the page's.
extern const char listenScript[];
extern const char noticeScript[];
