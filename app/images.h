#pragma once

/// Makes the compiled-in images known to the program. For every widget whose form shows one, before its form
/// is set up: linked from a static library, the images are part of a program only if something asks for them.
/// More than once does no harm.
void registerImages();
