#include "engine/pdf/edits.h"
#include "engine/pdf/joining/joining.h"
#include "engine/pdf/writing/document.h"
#include "tests/fuzz/fuzz.h"
#include "tests/fuzz/pdffile.h"

#include <qpdf/QPDF.hh>
#include <qpdf/QPDFPageDocumentHelper.hh>
#include <qpdf/QPDFPageObjectHelper.hh>

#include <algorithm>

// An input is a line of letters, one for each edit that is asked for, and the objects of a document: see
// fileOf(). With "j" two of this document are joined.

namespace
{

const QString title = QStringLiteral("<A> \"title\" & \u00e4 \U0001d11e");
/// Larger images only take longer.
constexpr long long mostPixels = 1 << 18;

Job jobOf(const QByteArray &letters)
{
    Job job;
    job.grayscale = letters.contains('g');
    job.lowQuality = letters.contains('l');
    job.externalLinks = !letters.contains('x');
    if (letters.contains('t'))
        job.title = title;
    if (letters.contains('c'))
        job.copies = 3;
    return job;
}

bool hasHugeImages(const std::string &file)
{
    try {
        QPDF pdf;
        pdf.setSuppressWarnings(true);
        pdf.processMemoryFile("a file", file.data(), file.size());
        for (QPDFObjectHandle object : pdf.getAllObjects()) {
            const auto side = [&](const char *key) {
                QPDFObjectHandle value = object.getDict().getKey(key);
                return value.isInteger() ? std::clamp(value.getIntValue(), 0LL, mostPixels + 1) : 0;
            };
            if (object.isStream() && side("/Width") * side("/Height") > mostPixels)
                return true;
        }
    } catch (const std::exception &) {
    }
    return false;
}

/// What the packer writes of an unchanged document is that document.
void checkPacking(const std::string &file, const Reading &before)
{
    PdfDocument document(QByteArray::fromStdString(file));
    const std::string written = document.compacted().toStdString();
    const Reading after = readingOf(written, false);
    require(after.opens, "a packed file opens");
    if (!before.isClean)
        return;
    require(after.isClean, "a packed file has no error");
    require(after.pages == before.pages, "a packed file has the same pages");
    QPDF one;
    QPDF other;
    one.processMemoryFile("before", file.data(), file.size());
    other.processMemoryFile("after", written.data(), written.size());
    require(sameObjects(one, other), "a packed file holds the same");
}

void checkTitle(QPDF &pdf)
{
    QPDFObjectHandle stored = pdf.getTrailer().getKey("/Info").getKey("/Title");
    require(stored.isString() && stored.getUTF8Value() == title.toStdString(), "the title is stored");
}

void checkGray(const std::vector<QPDFPageObjectHelper> &pages)
{
    class Operators : public QPDFObjectHandle::ParserCallbacks
    {
    public:
        void handleObject(QPDFObjectHandle object) override
        {
            const std::string name = object.isOperator() ? object.getOperatorValue() : std::string();
            require(name != "rg" && name != "RG" && name != "k" && name != "K", "no colour is selected");
        }
        void handleEOF() override {}
    };
    for (QPDFPageObjectHelper page : pages) {
        Operators operators;
        page.parseContents(&operators);
        page.forEachImage(true, [](QPDFObjectHandle &image, QPDFObjectHandle &, const std::string &) {
            QPDFObjectHandle space = image.getDict().getKey("/ColorSpace");
            require(!space.isName() || (space.getName() != "/DeviceRGB" && space.getName() != "/DeviceCMYK"),
                    "no image has colours");
        });
    }
}

void checkLinks(const std::vector<QPDFPageObjectHelper> &pages)
{
    for (QPDFPageObjectHelper page : pages) {
        for (QPDFAnnotationObjectHelper annotation : page.getAnnotations()) {
            QPDFObjectHandle action = annotation.getObjectHandle().getKey("/A");
            require(!action.isDictionary() || !action.getKey("/S").isNameAndEquals("/URI"),
                    "no link leads out of the document");
        }
    }
}

std::string joined(const std::string &file, const Job &job)
{
    const Part part{title, {QUrl(QStringLiteral("http://a/"))}};
    std::string written;
    joinParts(
        {part, part}, [&](size_t) { return QByteArray::fromStdString(file); }, job,
        [&](std::string_view bytes) { written += bytes; });
    return written;
}

void checkFinished(const std::string &written, const Job &job, const Reading &before)
{
    const Reading after = readingOf(written, false);
    require(after.opens, "a finished file opens");
    if (!before.isClean)
        return;
    require(after.isClean, "a finished file has no error");
    require(after.pages == before.pages * static_cast<size_t>(job.copies), "a finished file has all pages");

    QPDF pdf;
    pdf.setSuppressWarnings(true);
    pdf.processMemoryFile("finished", written.data(), written.size());
    const std::vector<QPDFPageObjectHelper> pages = QPDFPageDocumentHelper(pdf).getAllPages();
    if (job.title)
        checkTitle(pdf);
    if (job.grayscale)
        checkGray(pages);
    if (!job.externalLinks)
        checkLinks(pages);
    require(!job.lowQuality || !pdf.getRoot().hasKey("/StructTreeRoot"), "no structure tree is left");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    const QByteArray bytes = inputBytes(data, size);
    const qsizetype line = bytes.indexOf('\n');
    const QByteArray letters = bytes.left(std::max<qsizetype>(line, 0));
    const std::string file = fileOf(bytes.mid(line + 1));
    if (hasHugeImages(file))
        return 0;
    const Reading before = readingOf(file, true);
    try {
        if (letters.isEmpty()) {
            checkPacking(file, before);
        } else if (letters.contains('j')) {
            const Job job = jobOf(letters);
            Reading both = before;
            both.pages *= 2;
            checkFinished(joined(file, job), job, both);
        } else {
            const Job job = jobOf(letters);
            checkFinished(editedPdf(QByteArray::fromStdString(file), job).toStdString(), job, before);
        }
    } catch (const std::exception &) {
        // Refused.
    }
    return 0;
}
