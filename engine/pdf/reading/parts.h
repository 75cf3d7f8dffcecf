#pragma once

#include <qpdf/QPDFObjectHandle.hh>

#include <string>
#include <vector>

class QPDF;

/// A content stream and the resources that its names are looked up in.
struct Content {
    QPDFObjectHandle stream;
    QPDFObjectHandle resources;
};

/// Everything that is drawn in a document, each object once, however often it is used.
struct DocumentParts {
    std::vector<QPDFObjectHandle> pages;
    std::vector<QPDFObjectHandle> annotations;
    /// Of pages, forms, soft masks, tiling patterns and Type 3 glyphs.
    std::vector<Content> contents;
    std::vector<QPDFObjectHandle> images; ///< streams, soft masks of other images among them
    std::vector<QPDFObjectHandle> shadings;
    std::vector<QPDFObjectHandle> resources; ///< dictionaries
    std::vector<QPDFObjectHandle> softMasks; ///< the dictionaries in /SMask of graphics states
    std::vector<QPDFObjectHandle> states;    ///< graphics state parameter dictionaries
    std::vector<QPDFObjectHandle> groups;    ///< group attributes dictionaries
    std::vector<QPDFObjectHandle> fonts;
    /// What else may draw, and the browser is not known to write, in words: "a resource of the kind
    /// /Shading".
    std::vector<std::string> unknown;

    /// Walks through the document. Throws std::exception if the page tree cannot be read.
    static DocumentParts of(QPDF &pdf);
};
