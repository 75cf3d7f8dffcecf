#pragma once

// What is run inside documents.

/// prepare.js, a function of {size, orientation, background, images, width, height, margin, animationTime,
/// sheets}: `size` the paper as a CSS value or null, `orientation` "portrait", "landscape" or null,
/// `background` and `images` booleans, `width` and `height` of the paper and `margin` for pages that set none
/// in CSS pixels, `animationTime` in milliseconds, `sheets` texts of style sheets, or absent. Returns
/// {loading, animated, textWidth, sheets, unreadable, watchesScrolling, awaitedDrawings, awaitsWork,
/// heardWork, livesOn, hasScripts}: whether this call has set anything loading or has ended an animation, how
/// wide the text stands on paper in CSS pixels, `sheets` changed, and what is found: sheets that cannot be
/// read, a page that watches what comes into view, how often it has begun what goes on when it is drawn, that
/// has not heard of what goes on for it elsewhere, how often it has, in which something may happen in time,
/// that has scripts.
extern const char prepareScript[];

/// enlarge.js, a function of {minimum, byBrowser}: the smallest text size wanted, and that which the browser
/// keeps, in CSS pixels.
extern const char enlargeScript[];

/// listen.js and notice.js, each a script to run before those of the page: the first in the engine's own
/// world, where prepare.js runs, the second in the page's.
extern const char listenScript[];
extern const char noticeScript[];
