#include "engine/page/neterror.h"

namespace
{

struct Explanation {
    const char *name;
    const char *text;
};

/// The first whose name the error begins with holds.
constexpr Explanation explanations[] = {
    {"net::ERR_NAME_NOT_RESOLVED", "no such host"},
    {"net::ERR_NAME_RESOLUTION_FAILED", "no such host"},
    {"net::ERR_INTERNET_DISCONNECTED", "there is no network connection"},
    {"net::ERR_NETWORK_CHANGED", "the network connection changed meanwhile"},
    {"net::ERR_ADDRESS_UNREACHABLE", "the host cannot be reached"},
    {"net::ERR_CONNECTION_REFUSED", "the host refused the connection"},
    {"net::ERR_CONNECTION_TIMED_OUT", "the host did not answer"},
    {"net::ERR_TIMED_OUT", "the host did not answer"},
    {"net::ERR_CONNECTION_", "the connection broke"},
    {"net::ERR_EMPTY_RESPONSE", "the server sent nothing"},
    {"net::ERR_CONTENT_LENGTH_MISMATCH", "the server sent less than it announced"},
    {"net::ERR_INCOMPLETE_CHUNKED_ENCODING", "the server sent less than it announced"},
    {"net::ERR_INVALID_HTTP_RESPONSE", "the answer is not HTTP"},
    {"net::ERR_INVALID_RESPONSE", "the answer is not HTTP"},
    {"net::ERR_TOO_MANY_REDIRECTS", "the server sends it round in circles"},
    {"net::ERR_UNSAFE_REDIRECT", "the server sends it to an address that is not allowed"},
    {"net::ERR_UNSAFE_PORT", "this port is never used for web pages"},
    {"net::ERR_CERT_DATE_INVALID", "the server's certificate is out of date"},
    {"net::ERR_CERT_COMMON_NAME_INVALID", "the server's certificate is for another host"},
    {"net::ERR_CERT_AUTHORITY_INVALID",
     "the server's certificate comes from an authority that is not trusted"},
    {"net::ERR_CERT_", "the server's certificate is wrong"},
    {"net::ERR_SSL_", "no secure connection can be made"},
    {"net::ERR_INVALID_AUTH_CREDENTIALS", "the user name or password is wrong"},
    {"net::ERR_UNSUPPORTED_AUTH_SCHEME",
     "the server asks for a kind of authentication that is not supported"},
    {"net::ERR_PROXY_CONNECTION_FAILED", "the proxy cannot be reached"},
    {"net::ERR_PROXY_AUTH", "the proxy asks for another user name or password"},
    {"net::ERR_TUNNEL_CONNECTION_FAILED", "the proxy does not let it through"},
    {"net::ERR_SOCKS_CONNECTION_FAILED", "the SOCKS proxy cannot be reached or does not let it through"},
    {"net::ERR_SOCKS_CONNECTION_HOST_UNREACHABLE", "the SOCKS proxy cannot reach the host"},
    {"net::ERR_PROXY_", "the proxy does not work"},
    {"net::ERR_NO_SUPPORTED_PROXIES", "this kind of proxy is not supported"},
    {"net::ERR_FILE_NOT_FOUND", "there is no such file"},
    {"net::ERR_ACCESS_DENIED", "permission denied"},
    {"net::ERR_DISALLOWED_URL_SCHEME", "this kind of address is not allowed"},
    {"net::ERR_UNKNOWN_URL_SCHEME", "this kind of address is not known"},
    {"net::ERR_INVALID_URL", "this is not a valid address"},
    {"net::ERR_BLOCKED_BY_", "the browser blocks this page"},
    {"net::ERR_ABORTED", "there is no page to show, only a download or nothing at all"},
};

} // namespace

QString explainNetworkError(const QString &name)
{
    for (const Explanation &explanation : explanations) {
        if (name.startsWith(QLatin1String(explanation.name)))
            return QStringLiteral("%1 (%2)").arg(QLatin1String(explanation.text), name);
    }
    return name;
}
