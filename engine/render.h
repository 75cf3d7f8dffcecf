#pragma once

#include "engine/order.h"

#include <QByteArray>

#include <functional>

/// Is told what a job is doing, such as "printing page.html", whenever that changes.
using ActivityListener = std::function<void(const QString &activity)>;

/// Loads and prints the order's document with a browser of its own, which is gone when this returns, and
/// makes the PDF that the job asks for out of it. Throws Failure.
QByteArray renderAlone(const Order &order, const ActivityListener &listener);
