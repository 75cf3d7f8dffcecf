#include "engine/server/message.h"
#include "tests/fuzz/fuzz.h"

#include <algorithm>
#include <stdexcept>
#include <tuple>
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

auto texts(const Order &order)
{
    return std::tie(order.address.url, order.address.shown, order.address.isFile, order.address.userName,
                    order.address.password, order.job.userName, order.job.password, order.job.title);
}

auto choices(const Order &order)
{
    const Job &job = order.job;
    return std::tie(job.paper, job.orientation, job.copies, job.minimumFontSize, job.externalLinks,
                    job.grayscale, job.javaScript, job.images, job.background, job.lowQuality);
}

bool sameProxy(const std::optional<Proxy> &one, const std::optional<Proxy> &other)
{
    if (!one || !other)
        return one.has_value() == other.has_value();
    return std::tie(one->server, one->userName, one->password) ==
           std::tie(other->server, other->userName, other->password);
}

void checkOrder(const QByteArray &body)
{
    try {
        const Order order = orderFrom(body);
        if (order.deadline.passed())
            return;
        require(order.job.copies >= 1 && order.job.copies <= 1000, "copies are in bounds");
        // What is left of the time may be none by now.
        const Order again = [&] {
            Order later = order;
            later.deadline = Deadline::in(std::chrono::minutes(1));
            return orderFrom(orderBody(later));
        }();
        require(texts(again) == texts(order) && choices(again) == choices(order) &&
                    sameProxy(again.job.proxy, order.job.proxy),
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
