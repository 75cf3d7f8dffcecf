#pragma once

#include "engine/job/identity.h"
#include "engine/job/proxy.h"

#include <QDateTime>
#include <QMarginsF>
#include <QSize>
#include <QSizeF>
#include <QStringList>
#include <QUrl>

#include <chrono>
#include <optional>

enum class PaperOrientation { Portrait, Landscape };

/// A heading of a page whose outline is not the browser's.
struct PageHeading {
    int level;     ///< from 1
    QString title; ///< its text
    QString name;  ///< of its destination in the PDF
};

/// What a loaded page says of itself and the browser of itself, for the PDF's information. Empty for nothing.
struct PageMetadata {
    QString author;       ///< <meta name="author">
    QString keywords;     ///< <meta name="keywords">, separated by commas
    QString description;  ///< <meta name="description">
    QString generator;    ///< <meta name="generator">: the PDF's Creator, which is Quirelle without it
    QString language;     ///< BCP 47, as in <html lang>; without it that of the browser stays
    QDateTime created;    ///< of the page, such as <meta name="date">; invalid: when it was printed
    QDateTime modified;   ///< likewise
    QUrl address = {};    ///< the document's own, after redirects; without credentials
    QString browser = {}; ///< name and version, such as "Chrome/156.0.8078.79"
    /// For the PDF's outline, if the browser makes none.
    QList<PageHeading> headings = {};
    /// How many points a unit of its pages is, for pages larger than readers accept.
    int userUnit = 1;
    bool isUntitled = false; ///< the browser may then take a part of the address for the title
};

/// A file that an option names.
struct JobFile {
    QString name;      ///< as in the arguments
    QString text = {}; ///< not part of the order: filled in by readFiles()
};

/// In MiB: half of the memory of the machine, or of the control group that this process is in, but 2048 at
/// least.
int usualMaximumMemory();

/// One conversion, as ordered: everything a job needs to know and nothing of how it is done.
struct Job {
    /// "-" for standard input, a path if such a file exists, otherwise an address; without a scheme it gets
    /// "http://".
    QString input;
    /// For the input "-": the document, and the address or path of the file or folder where it counts as
    /// being; empty for the working folder.
    std::optional<QByteArray> document;
    QString baseUrl;
    /// The PDF's path. Written whole or not at all.
    QString output;
    /// Where relative paths begin.
    QString folder;
    /// Files that name further inputs; "-" for standard input.
    QStringList inputLists;
    /// Its PDF is to be joined with those of other inputs: links to these are still to be made, and those out
    /// of the whole removed.
    bool isPart = false;

    /// The paper in points, as its name has it, before any turning. Without it the page's own size holds.
    std::optional<QSizeF> paper;
    std::optional<PaperOrientation> orientation;
    /// Hold for every document of the page, after its own.
    QList<JobFile> styleSheets;
    /// Run in the page once it is whole.
    QList<JobFile> scripts;
    bool screenMedia = false; ///< laid out as for a screen: the page's rules for paper do not hold
    /// Of the window that the page is loaded in, in CSS pixels; without it that of the text on paper.
    std::optional<QSize> viewport;
    /// Around the text, in points. Without them the page's own margins hold.
    std::optional<QMarginsF> margins;
    bool singlePage = false; ///< a single page as tall as the content
    /// Which of the document's pages are printed, from 1, as the browser takes them: "1-3,7,9-"; empty for
    /// all.
    QString pageRanges;
    /// How often the pages stand in the PDF: 1 to 1000.
    int copies = 1;
    /// No text on paper is smaller than this many points; 0 for no bound.
    int minimumFontSize = 0;
    /// The document's title instead of the page's own.
    std::optional<QString> title;

    /// What servers and scripts are told of the browser; empty for what is true.
    QString userAgent;
    QStringList languages; ///< tags as of BCP 47, the preferred one first
    QString timeZone;      ///< as in Europe/Vienna

    /// Sent to the server that the input names, and to others only where that is said. Those in the files are
    /// among them once readFiles() has been called.
    QList<Header> headers;
    QList<JobFile> headerFiles;
    QList<Cookie> cookies;
    QList<JobFile> cookieJars;
    bool headersEverywhere = false;

    /// Answer the HTTP authentication of the server that the input names, and of no other; empty for none.
    QString userName;
    QString password;
    std::optional<Proxy> proxy;

    /// Reach no file, and no address of this machine or of a private network; without a proxy only.
    bool blockPrivateAddresses = false;

    /// Not part of the order: filled in when the page has been loaded.
    PageMetadata page;
    /// SOURCE_DATE_EPOCH of the process that ordered the job: the same input then gives the same bytes, with
    /// this as the time of everything. Invalid without it.
    QDateTime fixedTime;

    /// Fail instead of writing a PDF that lacks something of the page; requests to these hosts may fail.
    bool strict = false;
    QStringList ignoredHosts;
    /// Warnings go to the log only.
    bool quiet = false;
    /// Where the report goes: a path, "-" for standard error; empty for none.
    QString report;

    /// What a page has to have before it is taken to be whole: an element that can be seen, as a CSS
    /// selector; an expression, in JavaScript, that has come true; so much time. Empty, and 0, for nothing.
    QString awaitedElement;
    QString awaitedExpression;
    std::chrono::milliseconds awaitedTime{};

    bool externalLinks = true;
    bool grayscale = false;
    bool javaScript = true;
    bool images = true;
    bool background = true;
    bool lowQuality = false;

    /// The whole job's time, the browser's start included.
    std::chrono::milliseconds timeout{60000};
    /// A page that is not whole after this time is printed as it is.
    std::chrono::milliseconds maximumWait{30000};
    /// MiB of memory that a process which shows the page may take: 1 to 1048576.
    int maximumMemory = usualMaximumMemory();
    /// MiB that the PDF may be large: 1 to 4095.
    int maximumOutput = 1024;
};

/// "page.html -> page.pdf", on one line and without passwords: for the log.
QString nameOf(const Job &job);
