#include "engine/pdf/structure/metadata.h"

#include <QXmlStreamWriter>
#include <qpdf/QPDF.hh>
#include <qpdf/QPDFObjectHandle.hh>

#include <array>
#include <map>
#include <vector>

namespace
{

const QString product = QStringLiteral("Quirelle");

struct Role {
    const char *type;
    const char *standard;
};

/// Structure types of PDF 2.0 and of the browser, with the nearest standard type of PDF 1.7 (14.8.4).
constexpr std::array roles = {Role{"/Aside", "/Div"}, Role{"/Em", "/Span"}, Role{"/Strong", "/Span"}};

QPDFObjectHandle infoOf(QPDF &pdf)
{
    return pdf.getTrailer().getKey("/Info");
}

void setText(QPDFObjectHandle dictionary, const char *key, const QString &text)
{
    if (!text.isEmpty())
        dictionary.replaceKey(key, QPDFObjectHandle::newUnicodeString(text.toStdString()));
}

/// 7.9.4.
QString pdfDate(const QDateTime &time)
{
    return time.toUTC().toString(QStringLiteral("'D:'yyyyMMddHHmmss")) + QStringLiteral("+00'00'");
}

/// A date of the browser or of pdfDate(), both of which are in UTC, as XMP writes it; empty for any other.
QString xmpDate(QPDFObjectHandle date)
{
    const QString text = QString::fromStdString(date.isString() ? date.getUTF8Value() : std::string());
    const QDateTime time = QDateTime::fromString(text.mid(2, 14), QStringLiteral("yyyyMMddHHmmss"));
    return time.isValid() ? time.toString(QStringLiteral("yyyy-MM-dd'T'HH:mm:ss'Z'")) : QString();
}

QString textOf(QPDF &pdf, const char *key)
{
    QPDFObjectHandle value = infoOf(pdf).getKey(key);
    return value.isString() ? QString::fromStdString(value.getUTF8Value()) : QString();
}

class XmpWriter
{
public:
    explicit XmpWriter(QPDF &pdf) : m_pdf(pdf), m_writer(&m_text) {}

    std::string packet()
    {
        m_writer.writeNamespace(meta, QStringLiteral("x"));
        m_writer.writeStartElement(meta, QStringLiteral("xmpmeta"));
        m_writer.writeNamespace(rdf, QStringLiteral("rdf"));
        m_writer.writeNamespace(dc, QStringLiteral("dc"));
        m_writer.writeNamespace(xmp, QStringLiteral("xmp"));
        m_writer.writeNamespace(adobePdf, QStringLiteral("pdf"));
        m_writer.writeStartElement(rdf, QStringLiteral("RDF"));
        m_writer.writeStartElement(rdf, QStringLiteral("Description"));
        m_writer.writeAttribute(rdf, QStringLiteral("about"), QString());
        writeList("title", "Alt", textOf(m_pdf, "/Title"));
        writeList("creator", "Seq", textOf(m_pdf, "/Author"));
        writeList("description", "Alt", textOf(m_pdf, "/Subject"));
        QPDFObjectHandle language = m_pdf.getRoot().getKey("/Lang");
        if (language.isString())
            writeList("language", "Bag", QString::fromStdString(language.getUTF8Value()));
        writeText(adobePdf, "Keywords", textOf(m_pdf, "/Keywords"));
        writeText(adobePdf, "Producer", textOf(m_pdf, "/Producer"));
        writeText(xmp, "CreatorTool", textOf(m_pdf, "/Creator"));
        writeText(xmp, "CreateDate", xmpDate(infoOf(m_pdf).getKey("/CreationDate")));
        writeText(xmp, "ModifyDate", xmpDate(infoOf(m_pdf).getKey("/ModDate")));
        m_writer.writeEndDocument();
        return "<?xpacket begin=\"\xef\xbb\xbf\" id=\"W5M0MpCehiHzreSzNTczkc9d\"?>\n" + m_text.toStdString() +
               "\n<?xpacket end=\"r\"?>";
    }

private:
    void writeText(const QString &space, const char *name, const QString &text)
    {
        if (!text.isEmpty())
            m_writer.writeTextElement(space, QLatin1String(name), text);
    }

    void writeList(const char *name, const char *kind, const QString &text)
    {
        if (text.isEmpty())
            return;
        m_writer.writeStartElement(dc, QLatin1String(name));
        m_writer.writeStartElement(rdf, QLatin1String(kind));
        m_writer.writeStartElement(rdf, QStringLiteral("li"));
        if (QLatin1String(kind) == QLatin1String("Alt"))
            m_writer.writeAttribute(QStringLiteral("xml:lang"), QStringLiteral("x-default"));
        m_writer.writeCharacters(text);
        for (int i = 0; i < 3; ++i)
            m_writer.writeEndElement();
    }

    const QString meta = QStringLiteral("adobe:ns:meta/");
    const QString rdf = QStringLiteral("http://www.w3.org/1999/02/22-rdf-syntax-ns#");
    const QString dc = QStringLiteral("http://purl.org/dc/elements/1.1/");
    const QString xmp = QStringLiteral("http://ns.adobe.com/xap/1.0/");
    const QString adobePdf = QStringLiteral("http://ns.adobe.com/pdf/1.3/");
    QPDF &m_pdf;
    QString m_text;
    QXmlStreamWriter m_writer;
};

void renameStrings(QPDFObjectHandle array, const std::map<std::string, std::string> &names)
{
    for (int i = 0; i < array.getArrayNItems(); ++i) {
        const auto name = names.find(array.getArrayItem(i).getStringValue());
        if (name != names.end())
            array.setArrayItem(i, QPDFObjectHandle::newString(name->second));
    }
}

/// The attributes of an element: none, one dictionary, or several.
std::vector<QPDFObjectHandle> attributesOf(QPDFObjectHandle element)
{
    QPDFObjectHandle attributes = element.getKey("/A");
    return attributes.isArray() ? attributes.getArrayAsVector() : std::vector<QPDFObjectHandle>{attributes};
}

} // namespace

void setInformation(QPDF &pdf, const Job &job)
{
    QPDFObjectHandle info = infoOf(pdf);
    QPDFObjectHandle root = pdf.getRoot();
    setText(info, "/Author", job.page.author);
    setText(info, "/Subject", job.page.description);
    setText(info, "/Keywords", job.page.keywords);
    setText(info, "/Creator", job.page.generator.isEmpty() ? product : job.page.generator);
    const QString browser = job.page.browser.isEmpty() ? textOf(pdf, "/Producer") : job.page.browser;
    setText(info, "/Producer", browser.isEmpty() ? product : QStringLiteral("%1 (%2)").arg(product, browser));
    setText(root, "/Lang", job.page.language);
    for (const auto &[key, time] :
         {std::pair("/CreationDate", job.page.created), std::pair("/ModDate", job.page.modified)}) {
        if (time.isValid() || job.fixedTime.isValid())
            setText(info, key, pdfDate(time.isValid() ? time : job.fixedTime));
    }
    if (job.page.isUntitled) {
        info.removeKey("/Title");
        root.removeKey("/ViewerPreferences");
    }
    if (job.title || info.hasKey("/Title"))
        setTitle(pdf, job.title ? *job.title : titleOf(pdf));
}

void setTitle(QPDF &pdf, const QString &title)
{
    QPDFObjectHandle root = pdf.getRoot();
    infoOf(pdf).replaceKey("/Title", QPDFObjectHandle::newUnicodeString(title.toStdString()));
    if (!root.getKey("/ViewerPreferences").isDictionary())
        root.replaceKey("/ViewerPreferences", QPDFObjectHandle::newDictionary());
    root.getKey("/ViewerPreferences").replaceKey("/DisplayDocTitle", QPDFObjectHandle::newBool(true));
}

QString titleOf(QPDF &pdf)
{
    return textOf(pdf, "/Title");
}

std::string xmpOf(QPDF &pdf)
{
    return XmpWriter(pdf).packet();
}

void mapRoles(QPDF &pdf)
{
    QPDFObjectHandle tree = pdf.getRoot().getKey("/StructTreeRoot");
    if (!tree.isDictionary())
        return;
    QPDFObjectHandle map = QPDFObjectHandle::newDictionary();
    for (const Role &role : roles)
        map.replaceKey(role.type, QPDFObjectHandle::newName(role.standard));
    tree.replaceKey("/RoleMap", map);
}

size_t renameElements(QPDF &pdf, size_t first)
{
    QPDFObjectHandle tree = pdf.getRoot().getKey("/StructTreeRoot");
    if (!tree.isDictionary() || !tree.getKey("/IDTree").isDictionary())
        return first;
    std::map<std::string, std::string> names;
    QPDFObjectHandle entries = QPDFObjectHandle::newArray();
    // In the order of object numbers, which depends on the document alone.
    const std::vector<QPDFObjectHandle> objects = pdf.getAllObjects();
    for (QPDFObjectHandle element : objects) {
        if (!element.isDictionaryOfType("/StructElem") || !element.getKey("/ID").isString())
            continue;
        const QPDFObjectHandle name = QPDFObjectHandle::newString(
            QStringLiteral("node%1").arg(first + names.size(), 8, 10, QLatin1Char('0')).toStdString());
        names[element.getKey("/ID").getStringValue()] = QPDFObjectHandle(name).getStringValue();
        element.replaceKey("/ID", name);
        entries.appendItem(name);
        entries.appendItem(element);
    }
    QPDFObjectHandle tables = QPDFObjectHandle::newDictionary();
    tables.replaceKey("/Names", entries);
    tree.replaceKey("/IDTree", tables);
    for (QPDFObjectHandle element : objects) {
        if (!element.isDictionaryOfType("/StructElem"))
            continue;
        for (QPDFObjectHandle attribute : attributesOf(element)) {
            if (attribute.isDictionary() && attribute.getKey("/Headers").isArray())
                renameStrings(attribute.getKey("/Headers"), names);
        }
    }
    return first + names.size();
}
