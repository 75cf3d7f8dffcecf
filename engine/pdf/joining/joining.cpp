#include "engine/pdf/joining/joining.h"

#include "engine/pdf/joining/destinations.h"
#include "engine/pdf/joining/partcopy.h"
#include "engine/pdf/structure/links.h"
#include "engine/pdf/structure/metadata.h"
#include "engine/pdf/writing/document.h"

#include <qpdf/QPDFNumberTreeObjectHelper.hh>
#include <qpdf/QPDFPageDocumentHelper.hh>

#include <algorithm>
#include <stdexcept>

namespace
{

std::string reference(int number)
{
    return std::to_string(number) + " 0 R";
}

std::string references(const std::vector<int> &numbers)
{
    std::string text;
    for (const int number : numbers)
        text += reference(number) + ' ';
    return text;
}

/// `dictionary`, an object's text, with further entries.
std::string withEntries(const std::string &dictionary, const std::string &entries)
{
    return dictionary.substr(0, dictionary.rfind(">>")) + entries + " >>";
}

long long count(QPDFObjectHandle dictionary, const char *key)
{
    QPDFObjectHandle value = dictionary.isDictionary() ? dictionary.getKey(key) : QPDFObjectHandle::newNull();
    return value.isInteger() ? value.getIntValue() : 0;
}

/// Adds `shift` to a number, if it is there.
void shiftNumber(QPDFObjectHandle dictionary, const char *key, long long shift)
{
    if (dictionary.getKey(key).isInteger())
        dictionary.replaceKey(key, QPDFObjectHandle::newInteger(count(dictionary, key) + shift));
}

/// Calls `action` with each page and annotation, the key by which it is in the structure tree (14.7.4.4), and
/// whether it is a page.
template <typename Action>
void eachStructured(const std::vector<QPDFPageObjectHelper> &pages, const Action &action)
{
    for (QPDFPageObjectHelper page : pages) {
        QPDFObjectHandle object = page.getObjectHandle();
        action(object, "/StructParents");
        QPDFObjectHandle annotations = object.getKey("/Annots");
        if (!annotations.isArray())
            continue;
        for (const QPDFObjectHandle &annotation : annotations.aitems())
            action(annotation, "/StructParent");
    }
}

/// Writes the joined document, one part after the other.
class Joiner
{
public:
    Joiner(const std::vector<Part> &parts, const Job &job, const Destinations &destinations,
           const PackedFile::Sink &sink, const std::string &version)
        : m_parts(parts), m_job(job), m_destinations(destinations), m_file(sink, version)
    {
    }

    /// The first time all parts, and then again for each copy.
    void add(size_t index, bool isCopy, const QByteArray &bytes)
    {
        PdfDocument document(bytes);
        QPDF &pdf = document.pdf();
        m_destinations.relate(index, pdf);
        if (!m_job.externalLinks)
            removeExternalLinks(pdf);
        PartCopy copy(pdf, m_file, m_written);
        const std::vector<QPDFPageObjectHelper> pages = QPDFPageDocumentHelper(pdf).getAllPages();
        replacePageTree(copy, pdf);
        if (isCopy) {
            // The marked content is in the structure tree already.
            eachStructured(pages, [](QPDFObjectHandle object, const char *key) { object.removeKey(key); });
        } else {
            addBookmark(copy, pdf, index, pages.front());
            addStructure(copy, pdf, pages);
            addDestinations(copy, pdf, index);
            // Changes the title, which is that of the bookmark too.
            if (index == 0)
                takeInformation(pdf);
        }
        for (QPDFPageObjectHelper page : pages) {
            for (const char *key : {"/Resources", "/Contents"})
                copy.share(page.getObjectHandle().getKey(key));
        }
        copy.finish();
    }

    void finish()
    {
        m_file.addObject(m_pages, "<< /Type /Pages /Count " + std::to_string(m_pageCount) + " /Kids [ " +
                                      references(m_pageTrees) + "] >>");
        m_file.addObject(m_outline, "<< /Type /Outlines /Count " + std::to_string(m_bookmarkCount) +
                                        " /First " + reference(m_bookmarks.front()) + " /Last " +
                                        reference(m_bookmarks[m_parts.size() - 1]) + " >>");
        std::string catalogue = "<< /Type /Catalog /Pages " + reference(m_pages) + " /Outlines " +
                                reference(m_outline) + m_catalogueEntries;
        if (!m_kids.empty())
            catalogue += finishStructure();
        if (!m_names.empty()) {
            const int number = m_file.newNumber();
            m_file.addObject(number, "<< " + m_names + ">>");
            catalogue += " /Dests " + reference(number);
        }
        const int metadata = m_file.newNumber();
        m_file.addStream(metadata,
                         "<< /Type /Metadata /Subtype /XML /Length " + std::to_string(m_xmp.size()) + " >>",
                         m_xmp);
        const int root = m_file.newNumber();
        m_file.addObject(root, catalogue + " /Metadata " + reference(metadata) + " >>");
        const int information = m_file.newNumber();
        m_file.addObject(information, m_information);
        m_file.finish(" /Root " + reference(root) + " /Info " + reference(information));
    }

private:
    /// The part's page tree becomes a branch of the whole.
    void replacePageTree(PartCopy &copy, QPDF &pdf)
    {
        QPDFObjectHandle tree = pdf.getRoot().getKey("/Pages");
        const int number = m_file.newNumber();
        copy.replace(tree, number);
        m_file.addObject(number,
                         withEntries(copy.text(tree.unparseResolved()), " /Parent " + reference(m_pages)));
        m_pageTrees.push_back(number);
        m_pageCount += count(tree, "/Count");
    }

    void takeInformation(QPDF &pdf)
    {
        if (m_job.title)
            setTitle(pdf, *m_job.title);
        m_information = pdf.getTrailer().getKey("/Info").unparseResolved();
        m_xmp = xmpOf(pdf);
        for (const char *key : {"/Lang", "/ViewerPreferences"}) {
            if (pdf.getRoot().hasKey(key))
                m_catalogueEntries +=
                    ' ' + std::string(key) + ' ' + pdf.getRoot().getKey(key).unparseResolved();
        }
    }

    /// The part's outline becomes an entry of the whole's (12.3.3).
    void addBookmark(PartCopy &copy, QPDF &pdf, size_t index, const QPDFPageObjectHelper &firstPage)
    {
        QPDFObjectHandle outline = pdf.getRoot().getKey("/Outlines");
        copy.replace(outline, m_bookmarks[index]);
        const QString title = titleOf(pdf).trimmed();
        std::string text =
            "<< /Title " +
            QPDFObjectHandle::newUnicodeString((title.isEmpty() ? m_parts[index].name : title).toStdString())
                .unparse() +
            " /Parent " + reference(m_outline) + " /Dest " + copy.text(startOf(firstPage).unparse());
        if (index > 0)
            text += " /Prev " + reference(m_bookmarks[index - 1]);
        if (index + 1 < m_parts.size())
            text += " /Next " + reference(m_bookmarks[index + 1]);
        ++m_bookmarkCount;
        if (outline.isDictionary() && outline.hasKey("/First")) {
            for (const char *key : {"/First", "/Last", "/Count"})
                text += ' ' + std::string(key) + ' ' + copy.text(outline.getKey(key).unparse());
            m_bookmarkCount += std::max(count(outline, "/Count"), 0LL);
        }
        m_file.addObject(m_bookmarks[index], text + " >>");
    }

    /// The part's structure tree becomes a branch of the whole's (14.7).
    void addStructure(PartCopy &copy, QPDF &pdf, const std::vector<QPDFPageObjectHelper> &pages)
    {
        QPDFObjectHandle tree = pdf.getRoot().getKey("/StructTreeRoot");
        if (!tree.isDictionary())
            return;
        // The browser writes a single element.
        QPDFObjectHandle element = tree.getKey("/K");
        if (!element.isDictionary())
            return;
        copy.replace(tree, m_documentElement);
        const size_t firstElement = std::exchange(m_nextElement, renameElements(pdf, m_nextElement));
        QPDFObjectHandle language = pdf.getRoot().getKey("/Lang");
        if (language.isString() && !element.hasKey("/Lang"))
            element.replaceKey("/Lang", language);
        m_kids += copy.text(element.unparse()) + ' ';
        if (m_roles.empty() && tree.hasKey("/RoleMap"))
            m_roles = tree.getKey("/RoleMap").unparseResolved();
        eachStructured(pages, [this](const QPDFObjectHandle &object, const char *key) {
            shiftNumber(object, key, m_nextParent);
        });
        addParents(copy, pdf, tree.getKey("/ParentTree"));
        if (m_nextElement > firstElement)
            addElementNames(copy, tree.getKey("/IDTree").getKey("/Names"));
    }

    void addParents(PartCopy &copy, QPDF &pdf, const QPDFObjectHandle &tree)
    {
        if (!QPDFObjectHandle(tree).isDictionary())
            return;
        std::string entries;
        std::optional<long long> first;
        long long last = 0;
        for (const auto &[key, value] : QPDFNumberTreeObjectHelper(tree, pdf)) {
            last = m_nextParent + key;
            first = first.value_or(last);
            entries += std::to_string(last) + ' ' + copy.text(QPDFObjectHandle(value).unparse()) + ' ';
        }
        if (!first)
            return;
        m_parentTrees.push_back(m_file.newNumber());
        m_file.addObject(m_parentTrees.back(), "<< /Limits [ " + std::to_string(*first) + ' ' +
                                                   std::to_string(last) + " ] /Nums [ " + entries + "] >>");
        m_nextParent = last + 1;
    }

    /// `names` are those of renameElements(), so in order.
    void addElementNames(PartCopy &copy, QPDFObjectHandle names)
    {
        m_nameTrees.push_back(m_file.newNumber());
        m_file.addObject(m_nameTrees.back(), "<< /Limits [ " + names.getArrayItem(0).unparse() + ' ' +
                                                 names.getArrayItem(names.getArrayNItems() - 2).unparse() +
                                                 " ] /Names " + copy.text(names.unparse()) + " >>");
    }

    void addDestinations(PartCopy &copy, QPDF &pdf, size_t index)
    {
        for (const auto &[name, place] : m_destinations.of(index, pdf))
            m_names += QPDFObjectHandle::newName('/' + name).unparse() + ' ' +
                       copy.text(QPDFObjectHandle(place).unparseResolved()) + ' ';
    }

    /// The entries of the catalogue.
    std::string finishStructure()
    {
        const int tree = m_file.newNumber();
        const int parents = m_file.newNumber();
        m_file.addObject(m_documentElement, "<< /Type /StructElem /S /Document /P " + reference(tree) +
                                                " /K [ " + m_kids + "] >>");
        m_file.addObject(parents, "<< /Kids [ " + references(m_parentTrees) + "] >>");
        std::string text = "<< /Type /StructTreeRoot /K " + reference(m_documentElement) + " /ParentTree " +
                           reference(parents) + " /ParentTreeNextKey " + std::to_string(m_nextParent);
        if (!m_roles.empty())
            text += " /RoleMap " + m_roles;
        if (!m_nameTrees.empty())
            text += " /IDTree << /Kids [ " + references(m_nameTrees) + "] >>";
        m_file.addObject(tree, text + " >>");
        return " /StructTreeRoot " + reference(tree) + " /MarkInfo << /Type /MarkInfo /Marked true >>";
    }

    std::vector<int> newNumbers(size_t howMany)
    {
        std::vector<int> numbers;
        while (numbers.size() < howMany)
            numbers.push_back(m_file.newNumber());
        return numbers;
    }

    const std::vector<Part> &m_parts;
    const Job &m_job;
    const Destinations &m_destinations;
    PackedFile m_file;
    WrittenObjects m_written;

    const int m_pages = m_file.newNumber();
    std::vector<int> m_pageTrees;
    long long m_pageCount = 0;

    const int m_outline = m_file.newNumber();
    const std::vector<int> m_bookmarks = newNumbers(m_parts.size());
    /// With those below them that are shown.
    long long m_bookmarkCount = 0;

    const int m_documentElement = m_file.newNumber();
    /// References to the elements below it.
    std::string m_kids;
    std::string m_roles;
    std::vector<int> m_parentTrees;
    long long m_nextParent = 0;
    std::vector<int> m_nameTrees;
    size_t m_nextElement = 0;

    /// The entries of /Dests (12.3.2.3).
    std::string m_names;
    std::string m_information;
    std::string m_xmp;
    std::string m_catalogueEntries;
};

} // namespace

void joinParts(const std::vector<Part> &parts, const PartReader &read, const Job &job,
               const PackedFile::Sink &sink)
{
    Destinations destinations(parts);
    std::string version;
    for (size_t index = 0; index < parts.size(); ++index) {
        PdfDocument document(read(index));
        if (QPDFPageDocumentHelper(document.pdf()).getAllPages().empty())
            throw std::runtime_error("a document has no pages");
        destinations.note(index, document.pdf());
        version = std::max(version, document.pdf().getPDFVersion());
    }
    Joiner joiner(parts, job, destinations, sink, version);
    for (int copy = 0; copy < job.copies; ++copy) {
        for (size_t index = 0; index < parts.size(); ++index)
            joiner.add(index, copy > 0, read(index));
    }
    joiner.finish();
}
