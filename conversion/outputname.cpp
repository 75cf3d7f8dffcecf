#include "conversion/outputname.h"

#include "ui/jobtable.h"

using namespace Qt::StringLiterals;

namespace
{

// Removed from an address, in this order.
constexpr QLatin1Char unwantedCharacters[] = {
    '+'_L1, '-'_L1, '*'_L1, '/'_L1, '%'_L1, '?'_L1, ':'_L1, '!'_L1,
    '@'_L1, '#'_L1, '$'_L1, '^'_L1, '&'_L1, '('_L1, ')'_L1, '='_L1,
};
// And then these. As ":" and "/" are gone by then, only the last two can occur.
constexpr QLatin1String unwantedTexts[] = {"http://"_L1, "http:/"_L1, "http:"_L1, "http"_L1, "htp"_L1};

QString nameOfFile(const QString &path)
{
    const QString name = path.mid(path.lastIndexOf(u'/') + 1);
    return name.left(name.lastIndexOf(u'.'));
}

QString nameOfAddress(QString address)
{
    for (const QLatin1Char character : unwantedCharacters)
        address.remove(character);
    for (const QLatin1String text : unwantedTexts)
        address.remove(text);
    return address;
}

} // namespace

QString outputName(const QString &input, const QString &source)
{
    if (source == JobSource::LocalFile)
        return nameOfFile(input);
    if (source == JobSource::OnlineFile)
        return nameOfAddress(input);
    return QString();
}
