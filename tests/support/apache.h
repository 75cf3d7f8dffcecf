#pragma once

#include "tests/support/daemon.h"

#include <QByteArrayList>

#include <optional>

class TemporaryFolder;

/// Starts Apache on a loopback port, with all its files in `folder`: errors in "errors", and requests in
/// "requests", in the format called "plain" that the configuration gives.
void startApache(std::optional<Daemon> &daemon, const TemporaryFolder &folder, int port,
                 const QByteArrayList &modules, const QByteArray &configuration);

/// Lines of account files; the realm of digests is "realm".
QByteArray basicAccount(const QString &userName, const QString &password);
QByteArray digestAccount(const QString &userName, const QString &password);
