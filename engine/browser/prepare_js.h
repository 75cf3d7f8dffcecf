#pragma once

/// The text of prepare.js: an expression whose value is a function of one object {size, orientation,
/// background}: `size` the paper as a CSS value or null, `orientation` "portrait", "landscape" or null,
/// `background` a boolean.
extern const char prepareScript[];
