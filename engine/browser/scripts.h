#pragma once

// What is run inside a document: each is the text of a function of one argument.

/// prepare.js, of {size, orientation, background, width, margin}: `size` the paper as a CSS value or null,
/// `orientation` "portrait", "landscape" or null, `background` a boolean, `width` of the paper and `margin`
/// for pages that set none, in CSS pixels.
extern const char prepareScript[];

/// enlarge.js, of {minimum, byBrowser}: the smallest text size wanted, and that which the browser keeps, in
/// CSS pixels.
extern const char enlargeScript[];
