#pragma once

#include <qpdf/QPDFObjectHandle.hh>

#include <string>

/// A stream as it is written to a file: compressed.
struct StreamObject {
    /// Throws what libqpdf throws.
    explicit StreamObject(QPDFObjectHandle stream);

    /// Its text, with /Length.
    std::string dictionary;
    std::string data;
};
