#pragma once

#include "engine/job/job.h"
#include "engine/page/pictures.h"
#include "engine/page/preparation.h"

/// How a page has come onto its paper.
struct Fit {
    /// What the print command has to be given for its scale: where the browser alone does not shrink the page
    /// far enough. 0.1 to 1.
    double scale = 1;
    /// How often the page's width goes into the paper's, as far as it can be told: 1 for a page that fits. It
    /// is shrunk so far by browser and scale together, but at most `maximumShrinking`.
    double shrinking = 1;
    /// In points: the smallest text, where a minimum has been asked for and could not be kept to. 0
    /// otherwise.
    double smallestText = 0;
    /// The scrolling boxes, and frames, that hide text which would have to be scrolled to; at most ten, as
    /// CSS selectors.
    QStringList hidingBoxes;
    /// How many the page has, in all its frames.
    int elements = 0;
};

/// As far as a page can be shrunk; what is wider still is cut off.
inline constexpr double maximumShrinking = 10;

/// A page of more elements is printed without tags: the browser's time for them grows faster than their
/// number, here from 9 s for 25,000 short paragraphs to 100 s for 50,000.
inline constexpr int maximumTaggedElements = 30000;

/// Fits a page to its paper: keeps its text from being too small, and finds out how far it must be shrunk.
class Fitting
{
public:
    /// `browser`, `context`: see Pictures. `mainFrame` is the id of the page's main frame.
    Fitting(Session &browser, const QString &context, Session &page, const QString &mainFrame,
            VirtualTime &time);

    /// To be done when the page is ready for paper and whole, right before it is printed; may be done again
    /// when it has changed. `isAsPrepared`: it has not changed since it was prepared. What cannot be done by
    /// the bound is left.
    Fit fit(const Job &job, const Preparation &page, bool isAsPrepared, Deadline bound);

private:
    QList<FrameResult> fitFrames(const QJsonObject &settings, double minimum, const Preparation &page,
                                 Deadline bound);
    double factorOf(const FrameResult &frame, const QList<FrameResult> &all, Deadline bound);

    Session &m_page;
    QString m_mainFrame;
    Pictures m_pictures;
};
