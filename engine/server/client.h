#pragma once

#include "engine/job/order.h"

#include <QByteArray>

#include <optional>

/// Hands the order to the warm server, which is started if there is none, and returns the PDF. Throws Failure
/// if the server has tried and found that it cannot be done. Nothing, after at most half a second, if the
/// server is of no use: there shall be none, it cannot be started, is full, stuck or killed, or its browser
/// is gone.
std::optional<QByteArray> renderOnServer(const Order &order, const ActivityListener &listener);
