#pragma once

#include "engine/base/activity.h"
#include "engine/base/exitcode.h"
#include "engine/base/invocation.h"
#include "engine/client/endpoint.h"
#include "engine/client/report.h"

#include <string>

/// What has come of asking the server.
struct ServerReply {
    enum class Kind {
        NoServer, ///< there is none, or there shall be none
        Useless,  ///< the engine must do what it is called for itself: asking again would not help
        Failed,   ///< the job cannot be done: `code` and `message` say why
        Printed,  ///< `pdf` is for the job's output
    };
    Kind kind = Kind::NoServer;
    ExitCode code = ExitCode::Written;
    std::string message = {};
    std::string pdf = {};
    JobAccount job = {}; ///< of Failed and Printed
};

/// Hands the job to the warm server. Useless, after at most half a second, if the server is full, stuck or
/// killed, its browser is gone, or the engine is called for something else than a job. Throws OutputError if
/// nothing can be written at the job's output.
ServerReply askServer(const Invocation &invocation, IfNone ifNone, const ActivityListener &listener);
