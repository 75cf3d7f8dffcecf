#pragma once

#include <QTest>

/// Whether cases that tell something by their mass alone are wanted, as by ./test all.
inline bool isStressWanted()
{
    return qEnvironmentVariableIntValue("QUIRELLE_TEST_STRESS") == 1;
}

#define SKIP_STRESS()                                                                                        \
    do {                                                                                                     \
        if (!isStressWanted())                                                                               \
            QSKIP("stress: ./test all runs it");                                                             \
    } while (false)
