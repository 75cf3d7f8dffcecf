#include "packaging/texts/texts.h"

#include <QFile>

#include <cstdio>
#include <stdexcept>

using namespace Qt::StringLiterals;

// quirelle_texts bash|zsh|fish OUTPUT: writes a completion.
// quirelle_texts man|markdown INPUT OUTPUT: writes INPUT with the options between its markers.

namespace
{

QString contentOf(const QString &path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        throw std::runtime_error(qPrintable(path + u": "_s + file.errorString()));
    return QString::fromUtf8(file.readAll());
}

void write(const QString &path, const QString &text)
{
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate) || file.write(text.toUtf8()) < 0 ||
        !file.flush())
        throw std::runtime_error(qPrintable(path + u": "_s + file.errorString()));
}

QString textFor(const QString &kind, const QString &input)
{
    if (kind == "bash"_L1)
        return bashCompletion(allOptions());
    if (kind == "zsh"_L1)
        return zshCompletion(allOptions());
    if (kind == "fish"_L1)
        return fishCompletion(allOptions());
    return withOptions(contentOf(input),
                       kind == "man"_L1 ? manualOptions(allOptions()) : markdownOptions(allOptions()));
}

} // namespace

int main(int argc, char *argv[])
{
    const QStringList arguments(argv + 1, argv + argc);
    try {
        write(arguments.at(argc - 2), textFor(arguments.at(0), arguments.at(1)));
        return 0;
    } catch (const std::exception &error) {
        fprintf(stderr, "%s\n", error.what());
        return 1;
    }
}
