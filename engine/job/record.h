#pragma once

#include "engine/base/findings.h"
#include "engine/job/job.h"

#include <QStringList>

#include <array>

/// What a job does, one step after the other.
enum class JobStep { Start, Load, Settle, Print, Edit };

/// What is noted of a job while it is done.
class JobRecord
{
public:
    QStringList warnings;
    int requests = 0;
    int failedRequests = 0;
    PageMetadata page;
    int pages = 0; ///< of the PDF

    /// The step before ends. The first begins with the record.
    void enter(JobStep step);
    JobStep step() const { return m_step; }

    Findings findings(const Job &job) const;

private:
    std::array<std::chrono::steady_clock::duration, 5> m_times{};
    JobStep m_step = JobStep::Start;
    std::chrono::steady_clock::time_point m_entered = std::chrono::steady_clock::now();
};
