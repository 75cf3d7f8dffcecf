#include "tests/support/pdffile.h"

#include "tests/support/program.h"
#include "tests/support/temporaryfolder.h"

#include <QFile>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QRegularExpression>
#include <QXmlStreamReader>

#include <sys/stat.h>

#include <filesystem>
#include <functional>
#include <map>
#include <tuple>
#include <type_traits>

namespace
{

constexpr const char *everyPage = "99999";

/// Asks a program about the file, or repeats what it has answered since another file was asked about.
ProgramResult judged(const QString &path, const QString &program, const QStringList &arguments)
{
    struct stat file {
    };
    if (::stat(QFile::encodeName(path).constData(), &file) != 0)
        return runProgram(program, arguments);
    std::error_code unknown;
    const auto identity =
        std::make_tuple(file.st_ino, file.st_size,
                        std::filesystem::last_write_time(QFile::encodeName(path).toStdString(), unknown));
    static std::remove_const_t<decltype(identity)> known;
    static std::map<std::pair<QString, QStringList>, ProgramResult> verdicts;
    if (known != identity)
        verdicts.clear();
    known = identity;
    const auto [verdict, isNew] = verdicts.try_emplace({program, arguments});
    if (isNew)
        verdict->second = runProgram(program, arguments);
    return verdict->second;
}

QByteArray outputOf(const QString &path, const QString &program, const QStringList &arguments)
{
    const ProgramResult result = judged(path, program, arguments);
    if (result.exitCode < 0)
        qWarning("%s: %s", qPrintable(program), result.errors.constData());
    return result.output;
}

QMap<QString, QString> fieldsOf(const QByteArray &lines)
{
    QMap<QString, QString> fields;
    for (const QString &line : QString::fromUtf8(lines).split(QLatin1Char('\n'))) {
        const qsizetype colon = line.indexOf(QLatin1Char(':'));
        if (colon > 0)
            fields.insert(line.left(colon), line.mid(colon + 1).trimmed());
    }
    return fields;
}

/// The objects of qpdf's JSON by "obj:N G R", and "trailer".
QJsonObject objectsOf(const QString &path)
{
    const QJsonObject json = QJsonDocument::fromJson(outputOf(path, QStringLiteral("qpdf"),
                                                              {QStringLiteral("--json=2"),
                                                               QStringLiteral("--json-key=qpdf"), path}))
                                 .object();
    return json[QLatin1String("qpdf")].toArray().at(1).toObject();
}

QJsonValue resolved(const QJsonObject &objects, const QJsonValue &value)
{
    const QJsonValue object = objects[QLatin1String("obj:") + value.toString()];
    return object.isObject() ? object.toObject()[QLatin1String("value")] : value;
}

} // namespace

qint64 PdfFile::size() const
{
    return QFileInfo(m_path).size();
}

QString PdfFile::complaint() const
{
    const ProgramResult result = judged(m_path, QStringLiteral("qpdf"), {QStringLiteral("--check"), m_path});
    return result.ok() ? QString() : QString::fromLocal8Bit(result.output + result.errors);
}

QMap<QString, QString> PdfFile::info() const
{
    return fieldsOf(outputOf(m_path, QStringLiteral("pdfinfo"),
                             {QStringLiteral("-enc"), QStringLiteral("UTF-8"), m_path}));
}

QString PdfFile::documentTitle() const
{
    const QJsonObject objects = objectsOf(m_path);
    const QJsonObject trailer =
        objects[QLatin1String("trailer")].toObject()[QLatin1String("value")].toObject();
    const QJsonValue title =
        resolved(objects, trailer[QLatin1String("/Info")]).toObject()[QLatin1String("/Title")];
    // qpdf writes text as "u:", and what is in the document encoding as "b:" and hexadecimal digits.
    const QString text = title.toString();
    if (text.startsWith(QLatin1String("b:")))
        return QString::fromLatin1(QByteArray::fromHex(text.mid(2).toLatin1()));
    return title.isString() ? text.mid(2) : QString();
}

QString PdfFile::metadataTitle() const
{
    QXmlStreamReader metadata(
        outputOf(m_path, QStringLiteral("pdfinfo"), {QStringLiteral("-meta"), m_path}).trimmed());
    bool inTitle = false;
    while (!metadata.atEnd()) {
        metadata.readNext();
        inTitle = inTitle || (metadata.isStartElement() && metadata.name() == QLatin1String("title"));
        if (inTitle && metadata.isStartElement() && metadata.name() == QLatin1String("li"))
            return metadata.readElementText();
    }
    return {};
}

int PdfFile::pages() const
{
    return static_cast<int>(pageSizes().size());
}

QList<QSizeF> PdfFile::pageSizes() const
{
    static const QRegularExpression line(QStringLiteral("^Page +\\d+ size: +([\\d.]+) x ([\\d.]+) pts"),
                                         QRegularExpression::MultilineOption);
    const QString text = QString::fromUtf8(outputOf(
        m_path, QStringLiteral("pdfinfo"),
        {QStringLiteral("-f"), QStringLiteral("1"), QStringLiteral("-l"), QLatin1String(everyPage), m_path}));
    QList<QSizeF> sizes;
    for (const QRegularExpressionMatch &match : line.globalMatch(text))
        sizes += QSizeF(match.captured(1).toDouble(), match.captured(2).toDouble());
    return sizes;
}

QString PdfFile::text(int page) const
{
    QStringList arguments;
    if (page > 0)
        arguments = {QStringLiteral("-f"), QString::number(page), QStringLiteral("-l"),
                     QString::number(page)};
    return QString::fromUtf8(outputOf(m_path, QStringLiteral("pdftotext"),
                                      arguments + QStringList{m_path, QStringLiteral("-")}))
        .simplified();
}

QStringList PdfFile::pageTexts() const
{
    // A form feed follows each page.
    QStringList texts =
        QString::fromUtf8(outputOf(m_path, QStringLiteral("pdftotext"), {m_path, QStringLiteral("-")}))
            .split(QLatin1Char('\f'));
    texts.removeLast();
    for (QString &text : texts)
        text = text.simplified();
    return texts;
}

QList<double> PdfFile::fontSizes() const
{
    // The sizes come in whole units of the zoom, which goes no further.
    constexpr double zoom = 3;
    static const QRegularExpression fontSpec(QStringLiteral("<fontspec id=\"(\\d+)\" size=\"(-?\\d+)\""));
    const QString xml =
        QString::fromUtf8(outputOf(m_path, QStringLiteral("pdftohtml"),
                                   {QStringLiteral("-xml"), QStringLiteral("-i"), QStringLiteral("-stdout"),
                                    QStringLiteral("-zoom"), QString::number(zoom), m_path}));
    QList<double> sizes;
    for (const QRegularExpressionMatch &match : fontSpec.globalMatch(xml)) {
        if (xml.contains(QStringLiteral("font=\"%1\">").arg(match.captured(1))))
            sizes += match.captured(2).toDouble() / zoom;
    }
    return sizes;
}

QStringList PdfFile::fonts() const
{
    QStringList names;
    const QList<QByteArray> lines = outputOf(m_path, QStringLiteral("pdffonts"), {m_path}).split('\n');
    for (const QByteArray &line : lines.mid(2)) {
        const QString name = QString::fromUtf8(line.left(line.indexOf(' ')));
        if (!name.isEmpty())
            names += name.mid(name.indexOf(QLatin1Char('+')) + 1);
    }
    return names;
}

qsizetype PdfFile::images() const
{
    return std::max<qsizetype>(
        outputOf(m_path, QStringLiteral("pdfimages"), {QStringLiteral("-list"), m_path}).count('\n') - 2, 0);
}

QImage PdfFile::picture(int page, int dotsPerInch) const
{
    const QString number = QString::number(page);
    return QImage::fromData(outputOf(m_path, QStringLiteral("pdftoppm"),
                                     {QStringLiteral("-f"), number, QStringLiteral("-l"), number,
                                      QStringLiteral("-r"), QString::number(dotsPerInch), m_path}),
                            "PPM");
}

QString PdfFile::structure() const
{
    return QString::fromUtf8(
        outputOf(m_path, QStringLiteral("pdfinfo"), {QStringLiteral("-struct"), m_path}));
}

QJsonObject PdfFile::catalogue() const
{
    const QJsonObject objects = objectsOf(m_path);
    const QJsonObject trailer =
        objects[QLatin1String("trailer")].toObject()[QLatin1String("value")].toObject();
    QJsonObject root = resolved(objects, trailer[QLatin1String("/Root")]).toObject();
    for (auto entry = root.begin(); entry != root.end(); ++entry)
        entry.value() = resolved(objects, entry.value());
    return root;
}

QStringList PdfFile::outline() const
{
    const QJsonDocument json = QJsonDocument::fromJson(
        outputOf(m_path, QStringLiteral("qpdf"),
                 {QStringLiteral("--json=2"), QStringLiteral("--json-key=outlines"), m_path}));
    QStringList titles;
    const std::function<void(const QJsonArray &, const QString &)> visit = [&](const QJsonArray &items,
                                                                               const QString &indent) {
        for (const QJsonValue item : items) {
            titles += indent + item[QLatin1String("title")].toString();
            visit(item[QLatin1String("kids")].toArray(), indent + QLatin1Char('-'));
        }
    };
    visit(json.object()[QLatin1String("outlines")].toArray(), {});
    return titles;
}

QStringList PdfFile::links() const
{
    QStringList addresses;
    const QJsonObject objects = objectsOf(m_path);
    for (const QJsonValue object : objects) {
        const QJsonValue action =
            resolved(objects, object[QLatin1String("value")].toObject()[QLatin1String("/A")]);
        const QString address = action.toObject()[QLatin1String("/URI")].toString();
        if (!address.isEmpty())
            addresses += address.mid(address.indexOf(QLatin1Char(':')) + 1);
    }
    return addresses;
}

bool PdfFile::usesObjectStreams() const
{
    return contentOf(m_path).contains("/ObjStm");
}
