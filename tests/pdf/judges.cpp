#include "tests/pdf/judges.h"

#include "engine/pdf/writing/document.h"

#include <QFile>
#include <QProcess>
#include <QRegularExpression>
#include <QTemporaryDir>

#include <algorithm>
#include <cmath>
#include <memory>
#include <vector>

namespace
{

constexpr int bound = 120000;
constexpr int blockSide = 4;

/// One folder for all files of a test program, gone with it.
QString freshPath(const QString &name)
{
    static const QTemporaryDir folder;
    static int count = 0;
    return folder.filePath(QString::number(++count) + name);
}

double luma(QRgb pixel)
{
    return 0.299 * qRed(pixel) + 0.587 * qGreen(pixel) + 0.114 * qBlue(pixel);
}

} // namespace

QByteArray edited(const QByteArray &pdf, void (*edit)(QPDF &))
{
    PdfDocument document(pdf);
    edit(document.pdf());
    return document.compacted();
}

QByteArray outputOf(const QString &program, const QStringList &arguments)
{
    QProcess process;
    process.start(program, arguments);
    if (!process.waitForFinished(bound))
        return {};
    const QByteArray errors = process.readAllStandardError();
    const QByteArray output = process.readAllStandardOutput();
    if (process.exitStatus() != QProcess::NormalExit || process.exitCode() != 0 || !errors.isEmpty()) {
        qWarning("%s: %s", qPrintable(program), errors.constData());
        return {};
    }
    return output.isNull() ? QByteArray("") : output;
}

JudgedPdf::JudgedPdf(const QByteArray &pdf) : m_path(freshPath(QStringLiteral(".pdf")))
{
    QFile file(m_path);
    if (!file.open(QIODevice::WriteOnly) || file.write(pdf) != pdf.size())
        qFatal("%s cannot be written", qPrintable(m_path));
}

qint64 JudgedPdf::size() const
{
    return QFile(m_path).size();
}

QByteArray JudgedPdf::complaints() const
{
    QProcess process;
    process.start(QStringLiteral("qpdf"), {QStringLiteral("--check"), m_path});
    process.waitForFinished(bound);
    const QByteArray said = process.readAllStandardOutput() + process.readAllStandardError();
    return process.exitStatus() == QProcess::NormalExit && process.exitCode() == 0 ? QByteArray() : said;
}

QList<QList<double>> JudgedPdf::inks() const
{
    QList<QList<double>> pages;
    const QByteArray said =
        outputOf(QStringLiteral("gs"), {QStringLiteral("-q"), QStringLiteral("-o"), QStringLiteral("-"),
                                        QStringLiteral("-sDEVICE=inkcov"), m_path});
    for (const QByteArray &line : said.split('\n')) {
        const QList<QByteArray> words = line.simplified().split(' ');
        if (words.size() >= 5 && words[4] == "CMYK")
            pages.append(
                {words[0].toDouble(), words[1].toDouble(), words[2].toDouble(), words[3].toDouble()});
    }
    return pages;
}

bool JudgedPdf::isGray() const
{
    const QList<QList<double>> covered = inks();
    return !covered.isEmpty() && std::all_of(covered.begin(), covered.end(), [](const QList<double> &page) {
        return page[0] == 0 && page[1] == 0 && page[2] == 0;
    });
}

QImage JudgedPdf::picture(int dotsPerInch, int page) const
{
    const QString number = QString::number(page);
    const QByteArray png =
        outputOf(QStringLiteral("pdftoppm"),
                 {QStringLiteral("-png"), QStringLiteral("-r"), QString::number(dotsPerInch),
                  QStringLiteral("-f"), number, QStringLiteral("-l"), number, m_path});
    return QImage::fromData(png).convertToFormat(QImage::Format_RGB32);
}

int JudgedPdf::pages() const
{
    return outputOf(QStringLiteral("qpdf"), {QStringLiteral("--show-npages"), m_path}).trimmed().toInt();
}

QByteArray JudgedPdf::text() const
{
    return outputOf(QStringLiteral("pdftotext"), {QStringLiteral("-layout"), m_path, QStringLiteral("-")});
}

QByteArray JudgedPdf::structure() const
{
    const QByteArray said = outputOf(QStringLiteral("pdfinfo"), {QStringLiteral("-struct-text"), m_path});
    // The browser's own names of elements are not the same in any two runs.
    static const QRegularExpression name(QStringLiteral("node[0-9]+"));
    return QString::fromUtf8(said).replace(name, QStringLiteral("node")).toUtf8();
}

QList<QStringList> JudgedPdf::images() const
{
    QList<QStringList> rows;
    const QByteArray said = outputOf(QStringLiteral("pdfimages"), {QStringLiteral("-list"), m_path});
    const QList<QByteArray> lines = said.split('\n');
    for (qsizetype i = 2; i < lines.size(); ++i) {
        if (!lines[i].isEmpty())
            rows.append(QString::fromLatin1(lines[i]).simplified().split(QLatin1Char(' ')));
    }
    return rows;
}

QByteArray JudgedPdf::readable() const
{
    return outputOf(QStringLiteral("qpdf"),
                    {QStringLiteral("--qdf"), QStringLiteral("--object-streams=disable"),
                     QStringLiteral("--decode-level=generalized"), m_path, QStringLiteral("-")});
}

bool hasColours(const QImage &picture)
{
    for (int y = 0; y < picture.height(); ++y) {
        for (int x = 0; x < picture.width(); ++x) {
            const QRgb pixel = picture.pixel(x, y);
            if (qRed(pixel) != qGreen(pixel) || qGreen(pixel) != qBlue(pixel))
                return true;
        }
    }
    return false;
}

Difference difference(const QImage &colours, const QImage &gray)
{
    if (colours.size() != gray.size() || colours.isNull())
        return {};
    const int columns = (colours.width() + blockSide - 1) / blockSide;
    const int rows = (colours.height() + blockSide - 1) / blockSide;
    std::vector<double> blocks(static_cast<size_t>(columns) * static_cast<size_t>(rows));
    Difference found{0, 0};
    for (int y = 0; y < colours.height(); ++y) {
        for (int x = 0; x < colours.width(); ++x) {
            const double apart = luma(colours.pixel(x, y)) - luma(gray.pixel(x, y));
            found.average += std::abs(apart);
            blocks[static_cast<size_t>(y / blockSide) * static_cast<size_t>(columns) +
                   static_cast<size_t>(x / blockSide)] += apart;
        }
    }
    found.average /= static_cast<double>(colours.width()) * colours.height();
    for (const double block : blocks)
        found.worst = std::max(found.worst, std::abs(block) / (blockSide * blockSide));
    return found;
}
