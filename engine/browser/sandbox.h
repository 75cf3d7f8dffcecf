#pragma once

#include <QString>

/// What to do where a browser cannot start its sandbox.
QString sandboxAdvice();

enum class Confinement {
    Sandboxed,
    Unconfined,
    Unknown, ///< there is no renderer, or no /proc
};

/// How the renderers below this process (a browser's guard) are run. One that is just starting may not be in
/// its sandbox yet: waits a second at most until all are.
Confinement confinementOfRenderers(int process);
