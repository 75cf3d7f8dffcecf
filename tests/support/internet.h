#pragma once

#include <QByteArray>
#include <QList>
#include <QString>

#include <utility>

/// An address of the Internet that this machine has in a network of its own.
inline constexpr char publicAddress[] = "93.184.216.34";

/// Moves this process, which must have a single thread, and all that it will start into a network of its own,
/// where there are the loopback addresses and publicAddress, and no others, and names (with an address each)
/// stand for what is given here. Returns why that is impossible here; empty once it is done.
QString playInternet(const QList<std::pair<QByteArray, QByteArray>> &names);
