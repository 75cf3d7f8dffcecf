#pragma once

#include "engine/devtools/session.h"
#include "engine/job/job.h"
#include "engine/page/frames.h"

#include <QSize>

/// Makes the documents of a page, those of its frames included, ready for paper: the paper itself, what is
/// loaded late or only for paper, backgrounds, animations.
class Preparation
{
public:
    /// `mainFrame` is the id of the page's main frame.
    Preparation(Session &session, const QString &mainFrame);

    /// What has been found, and done, in the documents of all frames.
    struct Findings {
        bool changed = false; ///< something has been set going
    };

    /// Before the document is loaded: has the job's paper hold for what its scripts read of its sheets.
    void announce(const Job &job);

    /// To be done as often as the documents may have changed. Nothing if the page does not answer by the
    /// bound.
    std::optional<Findings> prepare(const Job &job, Deadline bound);

    /// What the main document said of itself when it was prepared last.
    const PageMetadata &metadata() const { return m_metadata; }

    /// The main frame when it was prepared last, without a value.
    FrameResult mainFrame() const { return {m_mainFrame, {}, {}, {}, m_mainContext}; }
    /// Whether it was the only one.
    bool isAlone() const { return m_isAlone; }
    /// The number of its elements, if it was the only one and nothing in it reached beyond the viewport or
    /// had to be scrolled to; nothing otherwise, or where that is not known.
    std::optional<int> fittingElements() const { return m_fittingElements; }

    /// In CSS pixels. As large as the text on paper, so that what scripts measure and draw fits there.
    /// Whether it was another.
    bool setViewport(QSizeF size);
    QSize viewport() const { return m_viewport; }

private:
    bool inspectSheets(Deadline bound);
    void findClosedTrees(Deadline bound);
    void changeUnreadableSheets(QJsonObject settings, Deadline bound);
    bool setViewportFrom(const QJsonObject &result);

    Session &m_session;
    QString m_mainFrame;
    QJsonValue m_mainContext;
    bool m_isAlone = false;
    std::optional<int> m_fittingElements;
    PageMetadata m_metadata;
    QSize m_viewport;
    bool m_inspectsSheets = false;
    /// Ids of sheets from files that have not been looked at yet.
    QStringList m_newSheets;
    /// Elements that bring sheets along: the ids of their frames, and their own, which have not been looked
    /// at yet.
    QList<std::pair<QString, QJsonValue>> m_newStyles;
};
