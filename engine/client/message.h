#pragma once

#include "engine/base/exitcode.h"
#include "engine/base/findings.h"
#include "engine/base/invocation.h"

#include <cstdint>
#include <limits>
#include <optional>
#include <string>
#include <string_view>

// What client and server say to each other over their socket: frames of a 4-byte length in the machine's byte
// order, one byte of kind, and a body of that length.

enum class FrameKind : char {
    Order = 'o',    ///< client to server, once: how the engine was called
    Refusal = 'n',  ///< server to client: it does not take the order; no body
    Accepted = 'y', ///< server to client, before all that follows: what the client needs for its part
    Alive = 'a', ///< server to client, several times a second until the result: what is being done, as UTF-8
    Findings = 'w', ///< server to client, before the result: what is known of the job
    Failure = 'f',  ///< server to client: why there is no PDF
    Pdf = 'p',      ///< server to client: the PDF
};

struct Frame {
    FrameKind kind;
    std::string body;
};

/// In bytes.
inline constexpr size_t maximumOrder = maximumDocument + (1 << 20);
/// In bytes: what a frame's length can say.
inline constexpr size_t maximumBody = std::numeric_limits<uint32_t>::max();

/// What stands before a body of `size` bytes.
std::string frameHeader(FrameKind kind, size_t size);
std::string frameBytes(FrameKind kind, std::string_view body = {});

/// Takes the first frame off `bytes`, if it is there whole. Throws std::runtime_error for a kind that does
/// not exist and for a length above `limit`.
std::optional<Frame> takeFrame(std::string &bytes, size_t limit);

std::string orderBody(const Invocation &invocation);
/// Throws std::runtime_error if `body` is none.
Invocation invocationFrom(std::string_view body);

/// What the client, which does not read its arguments itself, is told of its job.
struct Acceptance {
    /// The time that the job has left.
    std::chrono::milliseconds left;
    /// Where the PDF goes, as in the arguments.
    std::string output;
    /// "page.html -> page.pdf", for the log.
    std::string name;
    /// Where the report goes; empty for none.
    std::string report;
    /// Warnings go to the log only.
    bool isQuiet = false;
};

std::string acceptanceBody(const Acceptance &acceptance);
/// Throws std::runtime_error if `body` is none.
Acceptance acceptanceFrom(std::string_view body);

std::string findingsBody(const Findings &findings);
/// Throws std::runtime_error if `body` is none.
Findings findingsFrom(std::string_view body);

struct FailureReply {
    ExitCode code;
    /// Whether another browser cannot do better either.
    bool isFinal;
    /// One line.
    std::string message;
};

std::string failureBody(const FailureReply &failure);
/// Throws std::runtime_error if `body` is none.
FailureReply failureFrom(std::string_view body);
