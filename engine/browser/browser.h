#pragma once

#include "engine/browser/addressfilter.h"
#include "engine/browser/guard.h"
#include "engine/browser/launch.h"
#include "engine/browser/memory.h"
#include "engine/devtools/connection.h"
#include "engine/job/failure.h"

#include <memory>

/// A running browser of the engine's own, reached through its pipe; it opens no network port. It ends with
/// this object, or with this process, and its profile folder with it.
class Browser
{
public:
    /// Starts it and returns at once; whether it runs shows in the first reply. Throws Failure(NoBrowser)
    /// when none is found or no process can be made.
    explicit Browser(const LaunchFlags &flags, FirstPage firstPage = FirstPage::None);

    Connection &connection() { return m_connection; }
    MemoryWatch &memory() { return m_memory; }
    /// Begins to end it, which goes on by itself; the object's end waits for it.
    void end() { m_process.end(); }
    bool ended() const { return m_connection.ended(); }
    /// Id of the process that all processes of the browser descend from.
    int guardProcess() const { return m_process.process(); }

    /// `failure` as the user should read it: where the browser did not start, with the reason that it wrote
    /// to its standard error and what to do about it.
    Failure withReason(const Failure &failure) const;

private:
    /// Outlives the browser, which goes through it.
    std::unique_ptr<AddressFilter> m_filter;
    GuardedProcess m_process;
    Connection m_connection;
    MemoryWatch m_memory;
};
