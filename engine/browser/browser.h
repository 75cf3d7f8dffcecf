#pragma once

#include "engine/browser/addressfilter.h"
#include "engine/browser/guard.h"
#include "engine/browser/launch.h"
#include "engine/browser/memory.h"
#include "engine/devtools/connection.h"
#include "engine/job/failure.h"

#include <memory>

/// A browser process with a private profile, driven over a pipe; it opens no network port. It is killed, and
/// its profile removed, when this object is destroyed or this process ends.
class Browser
{
public:
    /// Starts it without waiting; a browser that cannot run fails the first command. Throws
    /// Failure(NoBrowser) if none is found or no process can be created.
    explicit Browser(const LaunchFlags &flags, FirstPage firstPage = FirstPage::None);

    Connection &connection() { return m_connection; }
    MemoryWatch &memory() { return m_memory; }
    /// Starts killing it without waiting; the destructor waits.
    void end() { m_process.end(); }
    bool ended() const { return m_connection.ended(); }
    /// The guard's process id; all processes of the browser descend from it.
    int guardProcess() const { return m_process.process(); }

    /// Whether it has ended because it cannot start its sandbox.
    bool lacksSandbox() const;
    /// `failure`; if it is NoBrowser, with the reason from the browser's standard error and what to do.
    Failure withReason(const Failure &failure) const;

private:
    /// Declared first: it must outlive the browser, which connects through it.
    std::unique_ptr<AddressFilter> m_filter;
    GuardedProcess m_process;
    Connection m_connection;
    MemoryWatch m_memory;
};
