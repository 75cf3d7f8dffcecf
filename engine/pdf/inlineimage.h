#pragma once

#include <qpdf/QPDFObjectHandle.hh>
#include <qpdf/QPDFTokenizer.hh>

#include <string>

class QPDF;

/// An image that stands in a content stream (ISO 32000-1, 8.9.7), gathered from the tokens after its BI.
class InlineImage
{
public:
    /// Takes the next token, up to and including EI. Returns whether there is more to take.
    bool take(const QPDFTokenizer::Token &token);

    /// The image from BI to EI as it was.
    std::string source() const;

    /// The image from BI to EI, made gray. Its data is written in hexadecimal digits, which no reader can
    /// take for the end of the image. Throws std::runtime_error if it is malformed.
    std::string gray(QPDF &pdf, const QPDFObjectHandle &resources) const;

private:
    QPDFObjectHandle asStream(QPDF &pdf) const;

    std::string m_dictionary; ///< between BI and ID
    std::string m_data;       ///< between ID and EI, the space after ID left out
    std::string m_end;        ///< EI
    bool m_hasData = false;
};
