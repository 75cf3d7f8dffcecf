#pragma once

#include <QByteArray>
#include <QImage>
#include <QList>
#include <QString>
#include <QStringList>

class QPDF;

/// `pdf` after an edit of the engine, as the engine writes it.
QByteArray edited(const QByteArray &pdf, void (*edit)(QPDF &));

/// A PDF in a temporary file, checked by independent programs. Each member runs one; if that fails or writes
/// to standard error, the result is empty, and complaints() tells why.
class JudgedPdf
{
public:
    explicit JudgedPdf(const QByteArray &pdf);

    QString path() const { return m_path; }
    qint64 size() const;

    /// What `qpdf --check` finds wrong; empty if nothing is.
    QByteArray complaints() const;
    /// How much of each page is covered by cyan, magenta, yellow and black, as Ghostscript sees it: four
    /// numbers from 0 to 1 a page.
    QList<QList<double>> inks() const;
    /// Whether it has pages and no page has any cyan, magenta or yellow.
    bool isGray() const;
    /// A page, from 1, as poppler draws it; null with anything on its standard error.
    QImage picture(int dotsPerInch, int page = 1) const;
    int pages() const;
    /// pdftotext -layout.
    QByteArray text() const;
    /// pdfinfo -struct-text, with the names of elements but for their numbers.
    QByteArray structure() const;
    /// The rows of pdfimages -list, split at blanks, without the heading.
    QList<QStringList> images() const;
    /// The file in qpdf's readable form, streams unpacked.
    QByteArray readable() const;

private:
    QString m_path;
};

/// A program's standard output; null if it fails or writes to standard error.
QByteArray outputOf(const QString &program, const QStringList &arguments);

/// Whether any pixel has colour.
bool hasColours(const QImage &picture);

/// How far, on average and at the worst of any 4 by 4 pixels averaged, `gray` is from the luma of `colours`:
/// 0 to 255. Both are 255 for pictures of different sizes or without pixels.
struct Difference {
    double average = 255;
    double worst = 255;
};
Difference difference(const QImage &colours, const QImage &gray);
