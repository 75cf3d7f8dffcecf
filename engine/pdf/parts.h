#pragma once

#include <qpdf/QPDFObjectHandle.hh>

#include <set>
#include <string>
#include <vector>

class QPDF;

/// A content stream with the resources that its names are looked up in (a dictionary or null).
struct Content {
    QPDFObjectHandle stream;
    QPDFObjectHandle resources;
    bool ofPage = false;
};

/// Something that may name colour spaces, with the resources it stands in.
struct Resource {
    QPDFObjectHandle object;
    QPDFObjectHandle resources;
};

/// Everything that is drawn in a document, each object once, however often it is used: what pages,
/// annotations and interactive forms lead to.
struct DocumentParts {
    std::vector<QPDFObjectHandle> pages;
    std::vector<QPDFObjectHandle> annotations;
    /// Of pages, forms, appearances, soft masks, tiling patterns and Type 3 glyphs. A page has one.
    std::vector<Content> contents;
    std::vector<Resource> images; ///< streams, masks and soft masks of other images among them
    std::vector<Resource> shadings;
    std::vector<QPDFObjectHandle> resources; ///< resource dictionaries
    std::vector<QPDFObjectHandle> softMasks; ///< the dictionaries in /SMask of graphics states
    std::vector<QPDFObjectHandle> states;    ///< graphics state parameter dictionaries
    std::vector<QPDFObjectHandle> groups;    ///< group attributes dictionaries

    /// Walks through the document. Joins the content streams of a page that has several. Objects of a wrong
    /// type are passed over. Throws std::exception if the page tree cannot be read.
    static DocumentParts of(QPDF &pdf);
};

/// The appearance streams of an annotation, in all its states.
std::vector<QPDFObjectHandle> appearancesOf(const QPDFObjectHandle &annotation);
