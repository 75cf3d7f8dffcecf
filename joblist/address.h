#pragma once

#include <QByteArrayView>
#include <QString>
#include <QStringList>

/// Whether Latin-1 text is taken for a web address: its host, which is what stands between an optional
/// "http://" and the first "/", has at least three bytes, all of them ASCII letters, digits or dots, and one
/// of them a dot. What follows the host is not looked at. No other scheme is known: "https:" is itself taken
/// for a host, and fails. Text of 1024 bytes or more is refused.
bool isAddress(QByteArrayView text);

/// The words of a text, in order: what stands between blanks, line feeds and other white space.
QStringList splitAddresses(QString text);
