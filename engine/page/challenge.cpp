#include "engine/page/challenge.h"

#include <QCryptographicHash>
#include <QRegularExpression>

#include <algorithm>

namespace
{

using namespace Qt::StringLiterals;

QByteArray unquoted(QString value)
{
    if (value.startsWith(u'"')) {
        static const QRegularExpression escape(u"\\\\(.)"_s);
        value = value.mid(1, value.size() - 2).replace(escape, u"\\1"_s);
    }
    return value.toUtf8();
}

QByteArray quoted(QByteArray value)
{
    return '"' + value.replace('\\', "\\\\").replace('"', "\\\"") + '"';
}

/// Whether a comma-separated list holds `item`.
bool holds(const QByteArray &list, QByteArrayView item)
{
    const QByteArrayList items = list.toLower().split(',');
    return std::any_of(items.begin(), items.end(),
                       [&](const QByteArray &one) { return one.trimmed() == item; });
}

std::optional<QCryptographicHash::Algorithm> hashOf(const Challenge &challenge)
{
    const QByteArray name = challenge.parameters.value("algorithm", "MD5").toUpper();
    if (name == "MD5" || name == "MD5-SESS")
        return QCryptographicHash::Md5;
    if (name == "SHA-256" || name == "SHA-256-SESS")
        return QCryptographicHash::Sha256;
    return std::nullopt;
}

bool canBeAnswered(const Challenge &challenge)
{
    if (challenge.scheme == Challenge::Scheme::Basic)
        return true;
    const bool authenticates =
        !challenge.parameters.contains("qop") || holds(challenge.parameters["qop"], "auth");
    return hashOf(challenge) && authenticates && challenge.parameters.contains("nonce");
}

/// The challenges in a header, in their order: schemes with parameters, all separated by commas.
QList<Challenge> challengesIn(const QByteArray &header)
{
    static const QRegularExpression part(
        uR"re([\s,]*([!#$%&'*+.^_`|~\w-]+)(?:\s*=\s*("(?:[^"\\]|\\.)*"|[^\s,"]*))?)re"_s);
    QList<Challenge> result;
    bool known = false;
    auto parts = part.globalMatch(QString::fromUtf8(header));
    while (parts.hasNext()) {
        const QRegularExpressionMatch match = parts.next();
        const QByteArray name = match.captured(1).toLower().toUtf8();
        if (match.hasCaptured(2)) {
            if (known)
                result.last().parameters.insert(name, unquoted(match.captured(2)));
            continue;
        }
        known = name == "basic" || name == "digest";
        if (known)
            result.append({name == "basic" ? Challenge::Scheme::Basic : Challenge::Scheme::Digest, {}});
    }
    return result;
}

QByteArray digestAuthorization(const Challenge &challenge, const Credentials &credentials,
                               const QByteArray &method, const QByteArray &target, int count,
                               const QByteArray &clientNonce)
{
    const auto &parameters = challenge.parameters;
    const auto hash = [algorithm = *hashOf(challenge)](const QByteArray &text) {
        return QCryptographicHash::hash(text, algorithm).toHex();
    };
    const QByteArray realm = parameters["realm"];
    const QByteArray nonce = parameters["nonce"];
    const QByteArray userName = credentials.userName.toUtf8();
    QByteArray secret = hash(userName + ':' + realm + ':' + credentials.password.toUtf8());
    if (parameters["algorithm"].toUpper().endsWith("-SESS"))
        secret = hash(secret + ':' + nonce + ':' + clientNonce);
    const QByteArray request = hash(method + ':' + target);
    const QByteArray number = QByteArray::number(count, 16).rightJustified(8, '0');
    const bool counted = parameters.contains("qop");
    const QByteArray middle = counted ? nonce + ':' + number + ':' + clientNonce + ":auth:" : nonce + ':';

    QByteArray value = "Digest username=" + quoted(userName) + ", realm=" + quoted(realm) +
                       ", nonce=" + quoted(nonce) + ", uri=" + quoted(target) + ", response=\"" +
                       hash(secret + ':' + middle + request) + '"';
    if (parameters.contains("algorithm"))
        value += ", algorithm=" + parameters["algorithm"];
    if (parameters.contains("opaque"))
        value += ", opaque=" + quoted(parameters["opaque"]);
    if (counted)
        value += ", qop=auth, nc=" + number;
    if (counted || parameters["algorithm"].toUpper().endsWith("-SESS"))
        value += ", cnonce=" + quoted(clientNonce);
    return value;
}

} // namespace

std::optional<Challenge> challengeIn(const QByteArrayList &headers)
{
    std::optional<Challenge> best;
    for (const QByteArray &header : headers) {
        for (const Challenge &challenge : challengesIn(header)) {
            const bool isBetter = !best || (best->scheme == Challenge::Scheme::Basic &&
                                            challenge.scheme == Challenge::Scheme::Digest);
            if (isBetter && canBeAnswered(challenge))
                best = challenge;
        }
    }
    return best;
}

QByteArray authorizationFor(const Challenge &challenge, const Credentials &credentials,
                            const QByteArray &method, const QByteArray &target, int count,
                            const QByteArray &clientNonce)
{
    if (challenge.scheme == Challenge::Scheme::Digest)
        return digestAuthorization(challenge, credentials, method, target, count, clientNonce);
    return "Basic " + (credentials.userName + u':' + credentials.password).toUtf8().toBase64();
}
