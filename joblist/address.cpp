#include "joblist/address.h"

#include <algorithm>

namespace
{

constexpr QByteArrayView scheme = "http://";
constexpr qsizetype minimumHostLength = 3;
constexpr qsizetype lengthLimit = 1024;

bool isHostByte(char byte)
{
    return (byte >= 'a' && byte <= 'z') || (byte >= 'A' && byte <= 'Z') || (byte >= '0' && byte <= '9') ||
           byte == '.';
}

} // namespace

bool isAddress(QByteArrayView text)
{
    if (text.isEmpty() || text.size() >= lengthLimit)
        return false;
    const QByteArrayView afterScheme = text.startsWith(scheme) ? text.sliced(scheme.size()) : text;
    const qsizetype slash = afterScheme.indexOf('/');
    const QByteArrayView host = slash < 0 ? afterScheme : afterScheme.first(slash);
    return host.size() >= minimumHostLength && host.contains('.') &&
           std::all_of(host.begin(), host.end(), isHostByte);
}

QStringList splitAddresses(QString text)
{
    return text.replace(u'\n', u' ').simplified().split(u' ');
}
