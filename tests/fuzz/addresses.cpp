#include "joblist/address.h"
#include "tests/fuzz/fuzz.h"

#include <QTextStream>

#include <algorithm>

// An input is what a user pastes, or the content of a list file.

namespace
{

/// The rule for addresses once more, by positions.
bool isAddressByRule(const QByteArray &text)
{
    if (text.isEmpty() || text.size() > 1023)
        return false;
    const qsizetype start = text.left(7) == "http://" ? 7 : 0;
    qsizetype end = start;
    bool hasDot = false;
    for (; end < text.size() && text[end] != '/'; ++end) {
        const char byte = text[end];
        const bool isAllowed = (byte >= '0' && byte <= '9') || (byte >= 'A' && byte <= 'Z') ||
                               (byte >= 'a' && byte <= 'z') || byte == '.';
        if (!isAllowed)
            return false;
        hasDot = hasDot || byte == '.';
    }
    return hasDot && end - start >= 3;
}

void checkWords(const QString &text, const QStringList &words)
{
    const auto isWord = [](const QString &word) {
        return !word.isEmpty() && std::none_of(word.begin(), word.end(), [](QChar c) { return c.isSpace(); });
    };
    const bool isBlank = words == QStringList(QString());
    require(isBlank || std::all_of(words.begin(), words.end(), isWord), "a word has letters and no blanks");
    const auto letters = [](QString all) { return all.removeIf([](QChar c) { return c.isSpace(); }); };
    require(letters(words.join(QString())) == letters(text), "no letter is lost between words");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    const QString text = QTextStream(inputBytes(data, size)).readAll();
    const QStringList words = splitAddresses(text);
    checkWords(text, words);
    for (const QString &word : words) {
        const QByteArray bytes = word.toLatin1();
        require(isAddress(bytes) == isAddressByRule(bytes), "an address is what the rule says");
    }
    return 0;
}
