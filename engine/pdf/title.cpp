#include "engine/pdf/title.h"

#include "engine/pdf/streamdata.h"

#include <QRegularExpression>
#include <qpdf/QPDF.hh>

namespace
{

/// The document's metadata, where it has any, says its title too (ISO 32000-1, 14.3.2), and viewers may
/// believe it first.
void setMetadataTitle(QPDFObjectHandle metadata, const QString &title)
{
    static const QRegularExpression element(
        QStringLiteral("<dc:title>.*?</dc:title>|\\sdc:title=\"[^\"]*\"|\\sdc:title='[^']*'"),
        QRegularExpression::DotMatchesEverythingOption);
    QString text = QString::fromStdString(decodedData(metadata));
    const QRegularExpressionMatch match = element.match(text);
    if (!match.hasMatch())
        return;
    const QString changed =
        match.captured().startsWith(QLatin1Char('<'))
            ? QStringLiteral(
                  "<dc:title><rdf:Alt><rdf:li xml:lang=\"x-default\">%1</rdf:li></rdf:Alt></dc:title>")
            : QStringLiteral(" dc:title=\"%1\"");
    text.replace(match.capturedStart(), match.capturedLength(), changed.arg(title.toHtmlEscaped()));
    metadata.replaceStreamData(text.toStdString(), QPDFObjectHandle::newNull(), QPDFObjectHandle::newNull());
}

} // namespace

void setTitle(QPDF &pdf, const QString &title)
{
    QPDFObjectHandle trailer = pdf.getTrailer();
    if (!trailer.getKey("/Info").isDictionary())
        trailer.replaceKey("/Info", pdf.makeIndirectObject(QPDFObjectHandle::newDictionary()));
    trailer.getKey("/Info").replaceKey("/Title", QPDFObjectHandle::newUnicodeString(title.toStdString()));

    QPDFObjectHandle root = pdf.getRoot();
    if (!root.getKey("/ViewerPreferences").isDictionary())
        root.replaceKey("/ViewerPreferences", QPDFObjectHandle::newDictionary());
    root.getKey("/ViewerPreferences").replaceKey("/DisplayDocTitle", QPDFObjectHandle::newBool(true));
    if (root.getKey("/Metadata").isStream())
        setMetadataTitle(root.getKey("/Metadata"), title);
}
