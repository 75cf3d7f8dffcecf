#pragma once

#include <qpdf/QPDFObjectHandle.hh>
#include <qpdf/QPDFTokenizer.hh>

#include <string>
#include <vector>

/// Reads a content stream operator by operator and writes those that its subclass passes on, byte by byte. To
/// be used with filteredContent().
class OperatorFilter : public QPDFObjectHandle::TokenFilter
{
public:
    void handleToken(QPDFTokenizer::Token const &token) override;
    void handleEOF() override;

protected:
    /// Called for every operator, with its operands available. Operators that are not passed on by pass() are
    /// removed.
    virtual void handleOperator(const QPDFTokenizer::Token &token) = 0;

    /// Writes the operands and the operator unchanged.
    void pass(const QPDFTokenizer::Token &token);
    /// Writes white space. To be called before writing a replacement for the current operator.
    void separate();

    /// The text of the operands, including white space and comments.
    const std::string &operandText() const { return m_text; }
    /// The numbers among the operands, as text.
    const std::vector<std::string> &numbers() const { return m_numbers; }
    /// The last `count` numbers; missing ones are 0.
    std::vector<double> lastNumbers(size_t count) const;
    /// The names among the operands, with their slash; escapes are resolved.
    const std::vector<std::string> &names() const { return m_names; }

private:
    bool m_hasWritten = false;
    std::string m_text;
    std::vector<std::string> m_numbers;
    std::vector<std::string> m_names;
};

/// The output of `filter` for `content`.
std::string filteredContent(const std::string &content, QPDFObjectHandle::TokenFilter &filter);
