#pragma once

#include <qpdf/QPDFObjectHandle.hh>

#include <string>
#include <vector>

class QPDF;

/// A content stream and its resource dictionary.
struct Content {
    QPDFObjectHandle stream;
    QPDFObjectHandle resources;
};

/// All objects that draw something in a document, each listed once.
struct DocumentParts {
    std::vector<QPDFObjectHandle> pages;
    std::vector<QPDFObjectHandle> annotations;
    /// Of pages, forms, soft masks, tiling patterns and Type 3 glyphs.
    std::vector<Content> contents;
    std::vector<QPDFObjectHandle> images; ///< streams, including soft masks of other images
    std::vector<QPDFObjectHandle> shadings;
    std::vector<QPDFObjectHandle> resources; ///< dictionaries
    std::vector<QPDFObjectHandle> softMasks; ///< the dictionaries in /SMask of graphics states
    std::vector<QPDFObjectHandle> states;    ///< graphics state parameter dictionaries
    std::vector<QPDFObjectHandle> groups;    ///< group attributes dictionaries
    std::vector<QPDFObjectHandle> fonts;
    /// Descriptions of what else may draw something and the browser is not known to write: "a resource of the
    /// kind /Shading".
    std::vector<std::string> unknown;

    /// Collects the parts of `pdf`. Throws std::exception if the page tree cannot be read.
    static DocumentParts of(QPDF &pdf);
};
