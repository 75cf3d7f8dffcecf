#pragma once

#include "engine/devtools/session.h"
#include "engine/job/job.h"
#include "engine/page/frames.h"

#include <QSize>

/// Makes the documents of a page, those of its frames included, ready for paper: the paper itself, what is
/// loaded late or only for paper, backgrounds, animations, the smallest text size.
class Preparation
{
public:
    /// `mainFrame` is the id of the page's main frame.
    Preparation(Session &session, const QString &mainFrame);

    /// What has been found, and done, in the documents of all frames.
    struct Findings {
        bool changed = false; ///< something has been set going
    };

    /// To be done as often as the documents may have changed. Nothing if the page does not answer by the
    /// bound.
    std::optional<Findings> prepare(const Job &job, Deadline bound);

    /// In CSS pixels. As wide as the text on paper, so that what scripts measure and draw fits there.
    void setViewport(QSizeF size);
    QSize viewport() const { return m_viewport; }

    /// Enlarges the text of pictures that the page may show but not read. From then on no script of the page
    /// runs, which could read it.
    void prepareForeignPictures(const Job &job, Deadline bound);

private:
    bool inspectSheets(Deadline bound);
    void findClosedTrees(Deadline bound);
    void changeUnreadableSheets(QJsonObject settings, Deadline bound);
    void enlargeText(double minimumPixels, int byBrowser, Deadline bound);
    bool fetchPictures(const QList<FrameResult> &results, QJsonObject &pictures, Deadline bound);
    void setViewportWidth(const QJsonValue &width);

    Session &m_session;
    QString m_mainFrame;
    QSize m_viewport;
    bool m_inspectsSheets = false;
    bool m_foreignPictures = false; ///< there are some to be enlarged
    bool m_scriptsAreSilent = false;
    /// Ids of sheets from files that have not been looked at yet.
    QStringList m_newSheets;
    /// Elements that bring sheets along: the ids of their frames, and their own, which have not been looked
    /// at yet.
    QList<std::pair<QString, QJsonValue>> m_newStyles;
};
