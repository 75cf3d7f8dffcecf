#include "engine/client/message.h"
#include "tests/fuzz/fuzz.h"

#include <algorithm>
#include <stdexcept>
#include <vector>

// An input is what comes over the socket, cut into pieces of up to 64 bytes by its own bytes.

namespace
{

/// The frames in `bytes`, of which at most `step` come at once, and whether it is all right as far as it
/// goes.
struct Conversation {
    std::vector<Frame> frames;
    bool isSound = true;
};

Conversation heard(const std::string &bytes, size_t step)
{
    Conversation conversation;
    std::string waiting;
    try {
        for (size_t at = 0; at < bytes.size(); at += step) {
            waiting += bytes.substr(at, step);
            while (const std::optional<Frame> frame = takeFrame(waiting, maximumOrder))
                conversation.frames.push_back(*frame);
        }
    } catch (const std::runtime_error &) {
        conversation.isSound = false;
    }
    return conversation;
}

bool same(const std::vector<Frame> &one, const std::vector<Frame> &other)
{
    return std::equal(one.begin(), one.end(), other.begin(), other.end(),
                      [](const Frame &a, const Frame &b) { return a.kind == b.kind && a.body == b.body; });
}

void checkOrder(const std::string &body)
{
    try {
        const Invocation invocation = invocationFrom(body);
        const Invocation again = invocationFrom(orderBody(invocation));
        require(again.arguments == invocation.arguments && again.variables == invocation.variables &&
                    again.folder == invocation.folder,
                "an order arrives as it was");
    } catch (const std::runtime_error &) {
        return;
    }
}

void checkFailure(const std::string &body)
{
    try {
        const FailureReply failure = failureFrom(body);
        const FailureReply again = failureFrom(failureBody(failure));
        require(again.code == failure.code && again.code != ExitCode::Written, "a failure stays one");
        require(again.message == failure.message && again.isFinal == failure.isFinal, "its message arrives");
    } catch (const std::runtime_error &) {
        return;
    }
}

void checkAcceptance(const std::string &body)
{
    try {
        const Acceptance acceptance = acceptanceFrom(body);
        const Acceptance again = acceptanceFrom(acceptanceBody(acceptance));
        require(again.left == acceptance.left && again.output == acceptance.output &&
                    again.name == acceptance.name,
                "an acceptance arrives as it was");
    } catch (const std::runtime_error &) {
        return;
    }
}

void checkBody(const std::string &body)
{
    checkOrder(body);
    checkFailure(body);
    checkAcceptance(body);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    const std::string bytes = inputBytes(data, size).toStdString();
    const Conversation whole = heard(bytes, std::max<size_t>(bytes.size(), 1));
    const size_t step = size == 0 ? 1 : 1 + data[size - 1] % 64;
    const Conversation pieces = heard(bytes, step);
    require(whole.isSound == pieces.isSound && same(whole.frames, pieces.frames),
            "frames are the same however they are cut");

    std::string written;
    for (const Frame &frame : whole.frames) {
        written += frameBytes(frame.kind, frame.body);
        checkBody(frame.body);
    }
    require(bytes.starts_with(written), "frames are written as they are read");
    checkBody(bytes);
    return 0;
}
