#pragma once

#include "engine/browser/browser.h"
#include "engine/job/order.h"
#include "engine/job/record.h"
#include "engine/page/authentication.h"
#include "engine/page/fitting.h"
#include "engine/page/givendocument.h"
#include "engine/page/pageevents.h"
#include "engine/page/preparation.h"
#include "engine/page/readiness.h"
#include "engine/page/virtualtime.h"

#include <QByteArray>

/// A blank page that shares no cookie, cache, storage or credential with any other. Loads one document and
/// prints it.
///
/// Besides its own failures, everything here fails as Session does.
class Page
{
public:
    /// Takes the page that a browser with FirstPage::Blank shows, in the browser's own context: for a browser
    /// that serves a single job.
    Page(Browser &browser, Deadline deadline);
    /// Opens a context and the page in it. With a proxy everything but files is fetched through it, the
    /// machine's own servers included.
    Page(Browser &browser, const std::optional<Proxy> &proxy, Deadline deadline);
    Page(const Page &) = delete;
    Page &operator=(const Page &) = delete;
    /// Closes the context, if it is the page's own, with all that is in it.
    ~Page();

    /// Makes ready, ahead of the order, what most orders for a browser with or without scripts need.
    void expect(bool javaScript);

    /// Loads the order's document and returns when it is whole: after its load event, with its fonts and
    /// images, what its scripts build and what they fetch. What is not whole after Job::maximumWait is taken
    /// as it is. Throws Failure(NotLoaded) with the reason when there is no page.
    void load(const Order &order, JobRecord &record);

    /// Prints the loaded document on the job's paper, 10 mm of margin around it unless the page has margins
    /// of its own. Returns the PDF, tagged and with an outline unless the job wants the smallest file.
    QByteArray print(const Job &job);
    /// Notes what is known of the document: what it says of itself, what was loaded for it, and what it lacks
    /// on paper of what it means.
    void describe(const Job &job, JobRecord &record) const;

    /// Whether the page has a frame that has not ended; see Compositor::hasUnfinishedFrame().
    bool isBeingDrawn() { return m_time.compositor().hasUnfinishedFrame(); }
    /// Holds the page's time, so that it does nothing more.
    void rest();
    /// Closes the context if it is the page's own, once; also done by the object's end.
    void close();
    /// Same, and waits until the browser has; false if it does not in time.
    bool closeWithin(std::chrono::milliseconds bound);

    /// Ends what another thread is doing with this page, with Cancelled there.
    void cancel() { m_session.cancel(); }

private:
    /// Where in the browser the page is.
    struct Place {
        /// Empty for the browser's own.
        QString context;
        /// Also the id of the page's main frame.
        QString target;
        QString session;
        /// Name and version of the browser.
        QString browser;
    };

    Page(Browser &browser, Deadline deadline, const std::function<Place(Session &browser)> &open);
    static Place opened(Session &browser, const std::optional<Proxy> &proxy);
    static Place first(Session &browser);
    static Place attached(Session &browser, Place place);

    void configure(const Job &job);
    void pose(const Job &job);
    void navigate(const Address &address, const Job &job);
    Session::Reply printedOnOnePage(const Job &job, QJsonObject settings);
    void addTargets(const Job &job, bool wantsHeadings);
    Session::Reply printed(const QJsonObject &settings);

    Session m_browser;
    Place m_place;
    Session m_session;
    QString m_shownAddress;
    bool m_listensToScripts = false;
    bool m_closed = false;
    PageEvents m_events;
    Authentication m_authentication;
    GivenDocument m_given;
    VirtualTime m_time;
    Preparation m_preparation;
    Readiness m_readiness;
    Fitting m_fitting;
    Fit m_fit;
    int m_userUnit = 1;
    QList<PageHeading> m_headings;
};
