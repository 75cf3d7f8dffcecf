#pragma once

#include "engine/base/descriptor.h"

#include <string>
#include <vector>

/// A program run under guard. A small process of its own, the guard, starts it in a private temporary folder
/// and a session of its own, and when this object ends, or the process that holds it ends in whatever way,
/// kills it with everything it has started and removes the folder.
class GuardedProcess
{
public:
    /// Starts `program` with `arguments` and with `environment` (NAME=value each) for all its variables.
    /// "%DIR%" in one of these becomes the private folder's path, made in `temporaryFolder`, which is an
    /// absolute path and is rid of folders that killed guards have left there. The program finds its input
    /// pipe on descriptor 3, its output pipe on descriptor 4 and its folder on 5; its standard input and
    /// output are /dev/null. Throws Failure(NoBrowser) when no further process or pipe can be made. That the
    /// program itself cannot be started shows in the pipes, which then close, and in a line on its standard
    /// error.
    GuardedProcess(const std::string &program, const std::vector<std::string> &arguments,
                   const std::vector<std::string> &environment, const std::string &temporaryFolder);
    GuardedProcess(const GuardedProcess &) = delete;
    GuardedProcess &operator=(const GuardedProcess &) = delete;
    /// Kills what is left of the program and waits until it and its folder are gone.
    ~GuardedProcess();

    /// Begins to kill the program, without waiting for its end.
    void end();

    /// This end of the pipe that the program reads.
    int toProgram() const { return m_toProgram.get(); }
    /// This end of the pipe that the program writes.
    int fromProgram() const { return m_fromProgram.get(); }
    /// This end of the program's standard error.
    int standardError() const { return m_standardError.get(); }
    /// The guard, parent of the program.
    int process() const { return m_guard; }

private:
    Descriptor m_toProgram;
    Descriptor m_fromProgram;
    Descriptor m_standardError;
    /// Held open as long as the program may live; the guard acts when it closes.
    Descriptor m_leash;
    int m_guard = -1;
};
