#pragma once

#include <QPalette>

/// `desktop` with all colours replaced by those for a light background: for windows with a light background
/// image or with dark text colours, whatever the desktop's colours are.
QPalette lightPalette(QPalette desktop);
