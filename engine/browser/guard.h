#pragma once

#include "engine/base/descriptor.h"

#include <string>
#include <vector>

/// A program run under guard. A small separate process, the guard, starts it in a private temporary folder
/// and in its own session. When this object is destroyed, or this process ends in any way, the guard kills
/// the program and all its descendants and removes the folder.
class GuardedProcess
{
public:
    /// A file that is in the private folder when the program starts.
    struct File {
        /// Of a folder in the private one.
        std::string folder;
        std::string name;
        std::string content;
    };

    /// Starts `program` with `arguments` and exactly `environment` (NAME=value each). "%DIR%" in any of these
    /// becomes the private folder's path. The folder is made in `temporaryFolder`, an absolute path, from
    /// which folders left by killed guards are removed. The program starts in its folder, and gets its input
    /// pipe as descriptor 3, its output pipe as 4 and its folder as 5; its standard input and output are
    /// /dev/null. Throws Failure(NoBrowser) if no process or pipe can be created. If the program itself
    /// cannot be started, the pipes close and its standard error has a line.
    GuardedProcess(const std::string &program, const std::vector<std::string> &arguments,
                   const std::vector<std::string> &environment, const std::string &temporaryFolder,
                   const std::vector<File> &files = {});
    GuardedProcess(const GuardedProcess &) = delete;
    GuardedProcess &operator=(const GuardedProcess &) = delete;
    /// Kills the program and waits until it and its folder are gone.
    ~GuardedProcess();

    /// Starts killing the program without waiting for it.
    void end();

    /// The write end of the program's input pipe.
    int toProgram() const { return m_toProgram.get(); }
    /// The read end of the program's output pipe.
    int fromProgram() const { return m_fromProgram.get(); }
    /// The read end of the program's standard error.
    int standardError() const { return m_standardError.get(); }
    /// The guard's process id; the guard is the parent of the program.
    int process() const { return m_guard; }

private:
    Descriptor m_toProgram;
    Descriptor m_fromProgram;
    Descriptor m_standardError;
    /// Held open as long as the program may run: the guard kills it when this closes.
    Descriptor m_lifeline;
    int m_guard = -1;
};
