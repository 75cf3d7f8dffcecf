#pragma once

#include <QPalette>

/// The desktop's palette, or, where the desktop is dark, a light one with its highlight: for what is shown on
/// a ground that is light whatever the desktop's colours are. A dark check box on such a ground would look
/// checked.
QPalette lightPalette(const QPalette &desktop);
