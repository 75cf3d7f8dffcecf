#pragma once

#include "engine/base/activity.h"
#include "engine/job/order.h"
#include "engine/job/record.h"
#include "engine/page/cancellation.h"

#include <QByteArray>

/// Loads and prints the order's document with a browser of its own, which is gone when this returns, and
/// makes the PDF that the job asks for out of it. Throws Failure, and Cancelled.
QByteArray renderAlone(const Order &order, const ActivityListener &listener, JobRecord &record,
                       Cancellation &cancellation);
