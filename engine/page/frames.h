#pragma once

#include "engine/devtools/session.h"

/// The name of the world, in each frame, that scripts of the engine run in, apart from those of the page.
extern const QString engineWorld;

/// The id of that world's execution context in a frame of this session, or of its child session `to`; nothing
/// if the frame is gone or does not answer by the bound.
std::optional<QJsonValue> engineContext(Session &session, const QString &frame, Deadline bound,
                                        const QString &to = {});

/// The expression that calls a function, given as its text, with this argument.
QString callOf(const char *script, const QJsonObject &argument);

/// What is wrong with a script, as Runtime.ExceptionDetails; empty if nothing is.
QJsonObject syntaxErrorIn(Session &session, const QString &script);

struct FrameResult {
    QString frame;
    QJsonObject value;
    /// The child session that the frame belongs to; empty for the session's own.
    QString session;
    /// The id of the frame that it is in, if any.
    QString parent;
    /// The engine's world in it, as far as known; a null value otherwise.
    QJsonValue context = {};
};

/// Runs a script, the text of a function of one argument, in every frame of the session, whose main frame is
/// `mainFrame`, and of its child sessions, in the engine's world, and returns what it returned in each, the
/// main frame first. A frame that is gone or busy until the bound is passed over.
QList<FrameResult> runInFrames(Session &session, const QString &mainFrame, const char *script,
                               const QJsonObject &argument, Deadline bound);

/// Every frame of the session and of its child sessions, without any value, each after the one that it is in
/// as far as they share a session. Those that are known by the bound.
QList<FrameResult> framesOf(Session &session, Deadline bound);

/// Runs it in one frame, that of `of`; nothing if it is gone or busy until the bound.
std::optional<FrameResult> runInFrame(Session &session, const FrameResult &of, const char *script,
                                      const QJsonObject &argument, Deadline bound);
