#pragma once

#include <QPalette>

/// A palette with its colours made fit for a light ground: for windows that show a light image, or text with
/// dark colours of its own, whatever the desktop's colours are, and whatever they become.
QPalette lightPalette(QPalette desktop);
