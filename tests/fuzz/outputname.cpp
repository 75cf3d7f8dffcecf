#include "conversion/outputname.h"

#include "tests/fuzz/fuzz.h"
#include "ui/jobtable.h"

#include <QDir>
#include <QFileInfo>

// An input is one letter for the kind of source, and the input of a job.

using namespace Qt::StringLiterals;

namespace
{

QString sourceFor(char letter)
{
    switch (letter) {
    case 'f':
        return QString::fromUtf16(JobSource::LocalFile);
    case 'a':
        return QString::fromUtf16(JobSource::OnlineFile);
    default:
        return {};
    }
}

/// Whether the letters of `part` stand in `whole`, in their order.
bool isWithin(const QString &part, const QString &whole)
{
    qsizetype at = 0;
    for (const QChar letter : part) {
        at = whole.indexOf(letter, at) + 1;
        if (at == 0)
            return false;
    }
    return true;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    const QByteArray bytes = inputBytes(data, size);
    // No path and no address in the list has a zero byte.
    if (bytes.isEmpty() || bytes.contains('\0'))
        return 0;
    const QString input = QString::fromUtf8(bytes.mid(1));
    const QString name = outputName(input, sourceFor(bytes[0]));
    require(isWithin(name, input), "a name is made of the input's letters");

    const QString folder = u"/home/user/output"_s;
    const QString file = folder + u'/' + name + u".pdf"_s;
    require(!name.contains(u'/') && !name.contains(QChar(0)), "a name is one name");
    require(QFileInfo(QDir::cleanPath(file)).path() == folder, "a PDF lies in the output folder");
    require(QFileInfo(file).suffix() == "pdf"_L1, "a PDF is called one");
    return 0;
}
