#include "engine/finish/finish.h"

#include "engine/base/modules.h"
#include "engine/finish/module.h"
#include "engine/job/failure.h"

#include <QFile>
#include <QLibrary>

using namespace Qt::StringLiterals;

namespace
{

/// As the C library's loader puts it.
bool isLackOfMemory(const QString &why)
{
    return why.contains("failed to map segment"_L1) ||
           why.contains("cannot allocate memory"_L1, Qt::CaseInsensitive);
}

EditPdf loadedEdits()
{
    QLibrary module(QFile::decodeName(pdfModuleOf(executablePath()).c_str()));
    const auto edit = reinterpret_cast<EditPdf>(module.resolve(editPdfName));
    if (edit)
        return edit;
    const QString why = module.errorString();
    throw Failure(ExitCode::Crashed, isLackOfMemory(why) ? u"there is too little memory: %1"_s.arg(why)
                                                         : u"the installation is incomplete: %1"_s.arg(why));
}

EditPdf pdfEdits()
{
    static const EditPdf edits = loadedEdits();
    return edits;
}

} // namespace

void loadPdfEdits()
{
    pdfEdits();
}

QByteArray finishPdf(const QByteArray &printed, const Job &job, JobRecord &record)
{
    record.enter(JobStep::Edit);
    Job described = job;
    described.page = record.page;
    QByteArray pdf;
    QString problem;
    if (!pdfEdits()(printed, described, pdf, record.pages, problem))
        throw Failure(ExitCode::Crashed, QStringLiteral("the printed PDF cannot be read: %1").arg(problem));
    if (pdf.size() > static_cast<qsizetype>(job.maximumOutput) << 20)
        throw tooLargeForOutput(job.maximumOutput);
    return pdf;
}
