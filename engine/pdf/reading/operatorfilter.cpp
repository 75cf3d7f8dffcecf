#include "engine/pdf/reading/operatorfilter.h"

#include <qpdf/Pl_QPDFTokenizer.hh>
#include <qpdf/Pl_String.hh>
#include <qpdf/QPDF.hh>

#include <algorithm>

void OperatorFilter::handleToken(QPDFTokenizer::Token const &token)
{
    switch (token.getType()) {
    case QPDFTokenizer::tt_word:
        handleOperator(token);
        m_text.clear();
        m_numbers.clear();
        m_names.clear();
        return;
    case QPDFTokenizer::tt_integer:
    case QPDFTokenizer::tt_real:
        m_numbers.push_back(token.getRawValue());
        break;
    case QPDFTokenizer::tt_name:
        m_names.push_back(token.getValue());
        break;
    default:
        break;
    }
    m_text += token.getRawValue();
}

void OperatorFilter::handleEOF()
{
    write(m_text);
}

void OperatorFilter::pass(const QPDFTokenizer::Token &token)
{
    m_hasWritten = true;
    write(m_text);
    write(token.getRawValue());
}

void OperatorFilter::separate()
{
    const char first = m_text.empty() || m_text.front() == ' ' ? ' ' : '\n';
    if (m_hasWritten)
        write(&first, 1);
    m_hasWritten = true;
}

std::vector<double> OperatorFilter::lastNumbers(size_t count) const
{
    std::vector<double> values(count, 0.0);
    const size_t given = std::min(count, m_numbers.size());
    for (size_t i = 0; i < given; ++i)
        values[i] = QPDFObjectHandle::newReal(m_numbers[m_numbers.size() - given + i]).getNumericValue();
    return values;
}

std::string filteredContent(const std::string &content, QPDFObjectHandle::TokenFilter &filter)
{
    std::string filtered;
    filtered.reserve(content.size());
    Pl_String text("filtered content", nullptr, filtered);
    Pl_QPDFTokenizer tokenizer("content", &filter, &text);
    tokenizer.write(reinterpret_cast<const unsigned char *>(content.data()), content.size());
    tokenizer.finish();
    return filtered;
}
