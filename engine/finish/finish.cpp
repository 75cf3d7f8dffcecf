#include "engine/finish/finish.h"

#include "engine/finish/module.h"
#include "engine/job/failure.h"
#include "engine/job/output.h"

#include <QCoreApplication>
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
    const std::string executable = QFile::encodeName(QCoreApplication::applicationFilePath()).toStdString();
    QLibrary module(QFile::decodeName(pdfModuleOf(executable).c_str()));
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

QByteArray finishPdf(const QByteArray &printed, const Job &job)
{
    QByteArray pdf;
    QString problem;
    if (!pdfEdits()(printed, job, pdf, problem))
        throw Failure(ExitCode::Crashed, QStringLiteral("the printed PDF cannot be read: %1").arg(problem));
    if (pdf.size() > static_cast<qsizetype>(job.maximumOutput) << 20)
        throw tooLargeForOutput(job.maximumOutput);
    return pdf;
}

std::string pdfModuleOf(const std::string &executable)
{
    return executable.substr(0, executable.rfind('/') + 1) + QUIRELLE_PDF_MODULE;
}
