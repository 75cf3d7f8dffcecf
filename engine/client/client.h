#pragma once

#include "engine/base/activity.h"
#include "engine/base/exitcode.h"
#include "engine/base/invocation.h"
#include "engine/client/endpoint.h"
#include "engine/client/report.h"

#include <string>

/// The outcome of asking the server for a job.
struct ServerReply {
    enum class Kind {
        NoServer, ///< none is running or can be started, or servers are disabled
        Useless,  ///< the server cannot do this: the engine must do it itself, without asking again
        Failed,   ///< the job has failed for the reason in `code` and `message`
        Printed,  ///< `pdf` is to be written to the job's output
    };
    Kind kind = Kind::NoServer;
    ExitCode code = ExitCode::Written;
    std::string message = {};
    std::string pdf = {};
    JobAccount job = {}; ///< of Failed and Printed
};

/// Sends the job to the warm server and waits for the result. Useless, after at most half a second, if the
/// server is full, hangs or has ended, its browser has crashed, or the command line is no job. Throws
/// OutputError if the job's output cannot be written.
ServerReply askServer(const Invocation &invocation, IfNone ifNone, const ActivityListener &listener);

/// The socket of the warm server that jobs of this process would use; empty if none is running.
std::string runningServer();
