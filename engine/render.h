#pragma once

#include "engine/order.h"

#include <QByteArray>

class Page;

/// Loads and prints the order's document in this blank page and makes the PDF that the job asks for out of
/// it. Throws Failure.
QByteArray render(const Order &order, Page &page);

/// The same with a browser of its own, which is gone when this returns.
QByteArray renderAlone(const Order &order);
