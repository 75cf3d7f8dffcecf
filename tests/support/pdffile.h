#pragma once

#include <QImage>
#include <QJsonObject>
#include <QList>
#include <QMap>
#include <QSizeF>
#include <QString>
#include <QStringList>

/// A PDF as independent judges see it: poppler's tools and qpdf. Everything here runs one of them.
class PdfFile
{
public:
    explicit PdfFile(const QString &path) : m_path(path) {}

    QString path() const { return m_path; }
    qint64 size() const;

    /// What is wrong with the file's structure; empty if nothing is.
    QString complaint() const;

    /// What pdfinfo says about the document: "Title", "Pages", "Tagged" ...
    QMap<QString, QString> info() const;
    /// The title in the document's information, blanks and all; null if there is none.
    QString documentTitle() const;
    /// The title in the document's metadata; null if there is none.
    QString metadataTitle() const;
    int pages() const;
    /// Of every page, in points, turned as a viewer shows it.
    QList<QSizeF> pageSizes() const;

    /// The text of the whole document or of one page (from 1), in reading order, blanks and line ends made
    /// single blanks.
    QString text(int page = 0) const;
    /// The same of each page.
    QStringList pageTexts() const;
    /// The sizes of all text in points, to a third of one.
    QList<double> fontSizes() const;
    /// The names of the fonts, as embedded.
    QStringList fonts() const;
    /// How many images the pages show.
    qsizetype images() const;
    /// One page (from 1) as a picture.
    QImage picture(int page = 1, int dotsPerInch = 72) const;
    /// Every structure element's line of the structure tree; empty if there is none.
    QString structure() const;

    /// The document's catalogue, with every reference in it resolved but those to parents and pages.
    QJsonObject catalogue() const;
    /// The titles of the outline, with "-" in front for every level below the first.
    QStringList outline() const;
    /// Where the external links lead.
    QStringList links() const;
    /// Whether it uses object streams.
    bool usesObjectStreams() const;

private:
    QString m_path;
};
