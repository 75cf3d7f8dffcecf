#pragma once

#include "engine/order.h"

#include <QByteArray>

#include <functional>

class Page;

/// Is told what a job is doing, such as "printing page.html", whenever that changes.
using ActivityListener = std::function<void(const QString &activity)>;

/// Loads and prints the order's document in this blank page. Throws Failure.
QByteArray printedIn(Page &page, const Order &order, const ActivityListener &listener);

/// Loads and prints the order's document with a browser of its own, which is gone when this returns, and
/// makes the PDF that the job asks for out of it. Throws Failure.
QByteArray renderAlone(const Order &order, const ActivityListener &listener);
