#pragma once

#include <qpdf/QPDFObjectHandle.hh>
#include <qpdf/QPDFTokenizer.hh>

#include <string>
#include <vector>

/// Reads a content stream operator by operator and writes what its subclass lets pass, byte by byte as it
/// came. See filteredContent().
class OperatorFilter : public QPDFObjectHandle::TokenFilter
{
public:
    void handleToken(QPDFTokenizer::Token const &token) override;
    void handleEOF() override;

protected:
    /// Called for every operator, after its operands. What it does not pass() is left out.
    virtual void handleOperator(const QPDFTokenizer::Token &token) = 0;

    /// Writes the operands and the operator as they came.
    void pass(const QPDFTokenizer::Token &token);
    /// Writes the white space that keeps an operator written in place of the present one apart.
    void separate();

    /// The operands as they came, white space and comments included.
    const std::string &operandText() const { return m_text; }
    /// The numbers among the operands, as they came.
    const std::vector<std::string> &numbers() const { return m_numbers; }
    /// The last `count` numbers; missing ones are 0.
    std::vector<double> lastNumbers(size_t count) const;
    /// The names among the operands, with their slash and escapes resolved.
    const std::vector<std::string> &names() const { return m_names; }

private:
    bool m_hasWritten = false;
    std::string m_text;
    std::vector<std::string> m_numbers;
    std::vector<std::string> m_names;
};

/// `content` as it comes out of `filter`.
std::string filteredContent(const std::string &content, QPDFObjectHandle::TokenFilter &filter);
