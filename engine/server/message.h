#pragma once

#include "engine/job/failure.h"
#include "engine/job/order.h"

#include <QByteArray>

#include <optional>

// What client and server say to each other over their socket: frames of a 4-byte length in the machine's byte
// order, one byte of kind, and a body of that length.

enum class FrameKind : char {
    Order = 'o', ///< client to server, once: the order, as CBOR
    Alive = 'a', ///< server to client, several times a second until the result: what is being done, as UTF-8
    Refusal = 'n', ///< server to client: it does not take the order; no body
    Failure = 'f', ///< server to client: exit code and message, as CBOR
    Pdf = 'p',     ///< server to client: the PDF
};

struct Frame {
    FrameKind kind;
    QByteArray body;
};

/// No order is larger than this many bytes.
inline constexpr qsizetype largestOrder = 1 << 20;

QByteArray frameBytes(FrameKind kind, const QByteArray &body = {});

/// Takes the first frame off `bytes`, if it is there whole. Throws std::runtime_error for a kind that does
/// not exist and for a length above `largestBody`.
std::optional<Frame> takeFrame(QByteArray &bytes, qsizetype largestBody);

QByteArray orderBody(const Order &order);
/// Throws std::runtime_error if `body` is none.
Order orderFrom(const QByteArray &body);

QByteArray failureBody(const Failure &failure);
/// Throws std::runtime_error if `body` is none.
Failure failureFrom(const QByteArray &body);
