#pragma once

#include <QByteArray>
#include <QByteArrayList>
#include <QMap>
#include <QString>

#include <optional>

/// What answers an HTTP server that asks who is there.
struct Credentials {
    QString userName;
    QString password;

    bool known() const { return !userName.isEmpty() || !password.isEmpty(); }
};

/// A server's question for credentials (RFC 9110, 11.6.1), of a kind that can be answered.
struct Challenge {
    enum class Scheme { Basic, Digest };

    Scheme scheme = Scheme::Basic;
    /// By name in small letters.
    QMap<QByteArray, QByteArray> parameters;
};

/// The challenge to answer among the values of a response's WWW-Authenticate headers: Digest before Basic.
/// Nothing if there is none that can be answered.
std::optional<Challenge> challengeIn(const QByteArrayList &headers);

/// The value of the Authorization header that answers the challenge (RFC 7617, RFC 7616). `target` is the
/// request's path and query; `count` tells how often this challenge has been answered, this time included;
/// `clientNonce` is any text that has not been used before.
QByteArray authorizationFor(const Challenge &challenge, const Credentials &credentials,
                            const QByteArray &method, const QByteArray &target, int count,
                            const QByteArray &clientNonce);
