#include "engine/finish/finish.h"

#include "engine/base/modules.h"
#include "engine/finish/module.h"
#include "engine/job/failure.h"

#include <QFile>
#include <QLibrary>

using namespace Qt::StringLiterals;

namespace
{

/// By the messages of the C library's loader.
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
    switch (pdfEdits()(printed, described, pdf, record.pages, problem)) {
    case EditOutcome::Edited:
        break;
    case EditOutcome::Refused:
        throw Failure(ExitCode::Crashed, u"the printed PDF cannot be edited: %1"_s.arg(problem),
                      Failure::Retry::IsInVain);
    case EditOutcome::Unreadable:
        throw Failure(ExitCode::Crashed, u"the printed PDF cannot be read: %1"_s.arg(problem));
    }
    if (pdf.size() > static_cast<qsizetype>(job.maximumOutput) << 20)
        throw tooLargeForOutput(job.maximumOutput);
    return pdf;
}
