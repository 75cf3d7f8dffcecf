#pragma once

#include "engine/page/page.h"

#include <mutex>

/// Lets any thread cancel what one thread does with a page.
class Cancellation
{
public:
    void cancel()
    {
        const std::lock_guard lock(m_mutex);
        m_cancelled = true;
        if (m_page)
            m_page->cancel();
    }
    /// Makes `page`, which may be null, what cancel() stops; throws Cancelled if that has been called
    /// already.
    void setPage(Page *page)
    {
        const std::lock_guard lock(m_mutex);
        m_page = page;
        if (m_cancelled)
            throw Cancelled();
    }
    /// To be called before the page is destroyed.
    void removePage()
    {
        const std::lock_guard lock(m_mutex);
        m_page = nullptr;
    }
    bool isCancelled()
    {
        const std::lock_guard lock(m_mutex);
        return m_cancelled;
    }

private:
    std::mutex m_mutex;
    Page *m_page = nullptr;
    bool m_cancelled = false;
};
