#pragma once

#include <QByteArrayView>
#include <QString>
#include <QStringList>

/// Whether Latin-1 text counts as a web address: its host, the part between an optional "http://" and the
/// first "/", has at least three bytes, all of them ASCII letters, digits or dots, with at least one dot. The
/// rest is not checked. No other scheme is known: "https:" is taken for a host and refused. Text of 1024
/// bytes or more is refused.
bool isAddress(QByteArrayView text);

/// The words of a text, in order, separated by white space.
QStringList splitAddresses(QString text);
