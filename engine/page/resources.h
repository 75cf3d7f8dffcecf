#pragma once

#include "engine/devtools/session.h"

/// Something that a frame has loaded.
struct Resource {
    QString frame; ///< the frame's id
    QString address;
    QString type; ///< of the protocol: "Image", "Stylesheet" ...
    QString mimeType;
};

/// In a tree as Page.getResourceTree returns it.
QList<Resource> resourcesIn(const QJsonObject &tree);

/// Its text, as it came; empty if it is not known by the bound. `to` is the child session of its frame, or
/// empty.
QString contentOf(Session &session, const Resource &resource, const QString &to, Deadline bound);
