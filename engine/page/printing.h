#pragma once

#include "engine/base/activity.h"
#include "engine/job/record.h"
#include "engine/page/page.h"

/// Loads and prints the order's document, and notes in the record what is known of it, also when it fails.
/// Throws Failure: Incomplete if the job is strict and something is missing, else as Page::load() and
/// Page::print().
QByteArray printPage(Page &page, const Order &order, JobRecord &record, const ActivityListener &listener);
