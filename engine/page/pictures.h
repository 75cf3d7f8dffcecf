#pragma once

#include "engine/page/frames.h"
#include "engine/page/virtualtime.h"

#include <QHash>
#include <QJsonArray>

#include <utility>

/// The SVG files that a page shows as pictures, whose small text is enlarged: as if their servers, or their
/// files, had answered with larger text. What they hold stands nowhere in the page, which may be allowed to
/// show them but not to read them: they are changed in a blank page of their own, and given to the page's
/// loader. A frame gets only what has been loaded for that frame itself: another one's may have taken a
/// password, or be a file.
class Pictures
{
public:
    /// `browser` is the conversation with the browser itself, in whose context `context`, if not empty, the
    /// page is.
    Pictures(Session &browser, const QString &context, Session &page, VirtualTime &time);
    Pictures(const Pictures &) = delete;
    Pictures &operator=(const Pictures &) = delete;
    ~Pictures();

    /// For the pictures that fit.js has listed in these frames. Returns when they have been loaded anew, or
    /// at the bound.
    void enlarge(const QList<FrameResult> &frames, Deadline bound);

private:
    /// A frame, and the address of a picture in it.
    using Place = std::pair<QString, QString>;

    /// How pictures of one address are shown in a frame, and what they are shown instead.
    struct Picture {
        QJsonArray shown;
        QString enlarged;
        QString standIn;
    };

    void readTexts(const QList<FrameResult> &frames, Deadline bound);
    void changeTexts(Deadline bound);
    std::optional<QString> openDocument(Deadline bound);
    void closeDocument();
    void replace(const QList<FrameResult> &frames, Deadline bound);
    bool answer(const QJsonObject &request, const QString &from);

    Session &m_browser;
    QString m_context;
    Session &m_page;
    VirtualTime &m_time;
    QString m_document; ///< the target in which files are changed, once there is one
    /// What the files hold that are SVG with text; empty for all others.
    QHash<Place, QString> m_texts;
    QHash<Place, Picture> m_pictures;
    /// Who else answers for requests, if anybody does.
    Session::Handler m_others;
};
