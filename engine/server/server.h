#pragma once

#include <string>

/// The warm server's whole life: takes orders from engines of the same user over the listening socket
/// `listening`, which it closes, does as many at a time as there are cores, keeps the others waiting, and
/// returns when nothing has come for `idleSeconds`, or at SIGTERM. An engine that goes away cancels its
/// order. `executable` is the program that runs here. Returns the exit code; 1 if the socket is not the one
/// by which this program is met.
int runServer(int listening, const std::string &executable, int idleSeconds);
