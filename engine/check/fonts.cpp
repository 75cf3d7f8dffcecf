#include "engine/check/fonts.h"

#include <QJsonArray>
#include <QJsonDocument>

#include <string_view>

using namespace Qt::StringLiterals;

namespace
{

struct Script {
    const char *name;
    std::u16string_view letter;
    /// As in packaging/packages.
    const char *package;
};

constexpr Script scripts[] = {
    {"Latin", u"a", "fonts-noto-core"},
    {"Cyrillic", u"\u0434", "fonts-noto-core"},
    {"Greek", u"\u03bb", "fonts-noto-core"},
    {"Arabic", u"\u0639", "fonts-noto-core"},
    {"Hebrew", u"\u05d0", "fonts-noto-core"},
    {"Devanagari", u"\u0915", "fonts-noto-core"},
    {"Thai", u"\u0e01", "fonts-noto-core"},
    {"Chinese", u"\u8bed", "fonts-noto-cjk"},
    {"Japanese", u"\u3042", "fonts-noto-cjk"},
    {"Korean", u"\ud55c", "fonts-noto-cjk"},
    {"emoji", u"\U0001f600", "fonts-noto-color-emoji"},
};

/// For each of the texts, whether it is drawn otherwise than a character that no font has.
constexpr char16_t drawnOtherwise[] = uR"(
(texts => {
    const context = document.createElement('canvas').getContext('2d', {willReadFrequently: true});
    context.font = '24px sans-serif';
    const drawn = text => {
        context.clearRect(0, 0, 60, 60);
        context.fillText(text, 10, 40);
        return context.getImageData(0, 0, 60, 60).data.join();
    };
    const unassigned = drawn('\u0378');
    return texts.map(text => drawn(text) !== unassigned);
})(%1))";

} // namespace

FontCoverage fontCoverage(Session &page)
{
    QJsonArray letters;
    for (const Script &script : scripts)
        letters.append(
            QString::fromUtf16(script.letter.data(), static_cast<qsizetype>(script.letter.size())));
    const QString expression =
        QString::fromUtf16(drawnOtherwise).arg(QString::fromUtf8(QJsonDocument(letters).toJson()));
    const QJsonObject reply =
        page.call(u"Runtime.evaluate"_s, {{u"expression"_s, expression}, {u"returnByValue"_s, true}});
    const QJsonArray found = reply["result"_L1]["value"_L1].toArray();
    FontCoverage coverage;
    qsizetype index = 0;
    for (const Script &script : scripts) {
        const bool isCovered = found[index++].toBool();
        (isCovered ? coverage.covered : coverage.missing).append(QLatin1String(script.name));
        if (!isCovered && !coverage.packages.contains(QLatin1String(script.package)))
            coverage.packages.append(QLatin1String(script.package));
    }
    return coverage;
}
