#include "engine/job/joining.h"

#include "engine/job/failure.h"
#include "engine/job/files.h"

#include <QDir>
#include <QFile>

#include <cstdio>

using namespace Qt::StringLiterals;

namespace
{

/// In bytes.
constexpr qint64 maximumList = 16 << 20;

[[noreturn]] void refuse(const QString &message)
{
    throw Failure(ExitCode::BadArguments, message);
}

QByteArray contentOf(QFile &file, const QString &name)
{
    const QByteArray content = file.read(maximumList + 1);
    if (file.error() != QFileDevice::NoError)
        refuse(u"--input-list %1 cannot be read: %2"_s.arg(name, file.errorString()));
    if (content.size() > maximumList)
        refuse(u"--input-list %1 is larger than %2 MiB: split it"_s.arg(name).arg(maximumList >> 20));
    return content;
}

QByteArray listAt(const QString &path, const QString &folder)
{
    QFile file(path == "-"_L1 ? QString() : QDir(folder).filePath(path));
    const bool opened =
        path == "-"_L1 ? file.open(stdin, QIODevice::ReadOnly) : file.open(QIODevice::ReadOnly);
    if (!opened)
        refuse(u"--input-list %1 cannot be read: %2"_s.arg(path, file.errorString()));
    return contentOf(file, path);
}

} // namespace

QStringList inputsIn(const QByteArray &list, const QString &name)
{
    const std::optional<QString> text = utf8Text(list);
    if (!text || text->contains(QChar::Null))
        refuse(u"--input-list %1 is not text in UTF-8"_s.arg(name));
    QStringList inputs;
    for (const QString &line : text->split(u'\n')) {
        const QString input = line.trimmed();
        if (!input.isEmpty() && !input.startsWith(u'#'))
            inputs += input;
    }
    return inputs;
}

Joining withListedInputs(Joining joining)
{
    if (joining.whole.inputLists.count(u"-"_s) + joining.inputs.count(u"-"_s) > 1)
        refuse(u"standard input can be read only once: give \"-\" once"_s);
    for (const QString &path : joining.whole.inputLists)
        joining.inputs += inputsIn(listAt(path, joining.whole.folder), onOneLine(path));
    if (joining.inputs.isEmpty())
        refuse(u"no input: --input-list %1 names none"_s.arg(onOneLine(joining.whole.inputLists.last())));
    return joining;
}

QString nameOf(const Joining &joining)
{
    Job named = joining.whole;
    named.input = joining.inputs.isEmpty() ? joining.whole.inputLists.value(0) : joining.inputs[0];
    if (joining.inputs.size() > 1)
        named.input += u" and %1 more"_s.arg(joining.inputs.size() - 1);
    return nameOf(named);
}
