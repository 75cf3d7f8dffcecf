#include "engine/server/message.h"
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

Conversation heard(const QByteArray &bytes, qsizetype step)
{
    Conversation conversation;
    QByteArray waiting;
    try {
        for (qsizetype at = 0; at < bytes.size(); at += step) {
            waiting += bytes.mid(at, step);
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

void checkOrder(const QByteArray &body)
{
    try {
        const Invocation invocation = invocationFrom(body);
        const Invocation again = invocationFrom(orderBody(invocation));
        require(again.arguments == invocation.arguments && again.folder == invocation.folder,
                "an order arrives as it was");
    } catch (const std::runtime_error &) {
        return;
    }
}

void checkFailure(const QByteArray &body)
{
    std::optional<Failure> failure;
    try {
        failure = failureFrom(body);
    } catch (const std::runtime_error &) {
        return;
    }
    const Failure again = failureFrom(failureBody(*failure));
    require(again.code() == failure->code() && again.code() != ExitCode::Written, "a failure stays one");
    require(again.message().left(400) == failure->message().left(400), "its message arrives");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    const QByteArray bytes = inputBytes(data, size);
    const Conversation whole = heard(bytes, std::max<qsizetype>(bytes.size(), 1));
    const qsizetype step = size == 0 ? 1 : 1 + data[size - 1] % 64;
    const Conversation pieces = heard(bytes, step);
    require(whole.isSound == pieces.isSound && same(whole.frames, pieces.frames),
            "frames are the same however they are cut");

    QByteArray written;
    for (const Frame &frame : whole.frames) {
        written += frameBytes(frame.kind, frame.body);
        checkOrder(frame.body);
        checkFailure(frame.body);
    }
    require(bytes.startsWith(written), "frames are written as they are read");
    checkOrder(bytes);
    checkFailure(bytes);
    return 0;
}
