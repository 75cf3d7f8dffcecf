#pragma once

#include "engine/devtools/session.h"

/// The name of the world, in each frame, that scripts of the engine run in, apart from those of the page.
extern const QString engineWorld;

/// The id of that world's execution context in a frame of this session, or of its child session `to`; nothing
/// if the frame is gone or does not answer by the bound.
std::optional<QJsonValue> engineContext(Session &session, const QString &frame, Deadline bound,
                                        const QString &to = {});

struct FrameResult {
    QString frame;
    QJsonObject value;
};

/// Runs a script, the text of a function of one argument, in every frame of the session, whose main frame is
/// `mainFrame`, and of its child sessions, in the engine's world, and returns what it returned in each, the
/// main frame first. A frame that is gone or busy until the bound is passed over.
QList<FrameResult> runInFrames(Session &session, const QString &mainFrame, const char *script,
                               const QJsonObject &argument, Deadline bound);
