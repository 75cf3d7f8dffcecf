#include "engine/finish/finish.h"

#include "engine/base/modules.h"
#include "engine/finish/module.h"
#include "engine/job/failure.h"

#include <QFile>
#include <QLibrary>

#include <exception>

using namespace Qt::StringLiterals;

namespace
{

/// By the messages of the C library's loader.
bool isLackOfMemory(const QString &why)
{
    return why.contains("failed to map segment"_L1) ||
           why.contains("cannot allocate memory"_L1, Qt::CaseInsensitive);
}

template <typename Function>
Function loadedFunction(const char *name)
{
    QLibrary module(QFile::decodeName(pdfModuleOf(executablePath()).c_str()));
    const auto function = reinterpret_cast<Function>(module.resolve(name));
    if (function)
        return function;
    const QString why = module.errorString();
    throw Failure(ExitCode::Crashed, isLackOfMemory(why) ? u"there is too little memory: %1"_s.arg(why)
                                                         : u"the installation is incomplete: %1"_s.arg(why));
}

EditPdf pdfEdits()
{
    static const auto edits = loadedFunction<EditPdf>(editPdfName);
    return edits;
}

/// `what` is the PDF, for messages.
void check(EditOutcome outcome, const QString &what, const QString &problem)
{
    if (outcome == EditOutcome::Refused)
        throw Failure(ExitCode::Crashed, u"%1 cannot be edited: %2"_s.arg(what, problem),
                      Failure::Retry::IsInVain);
    if (outcome == EditOutcome::Unreadable)
        throw Failure(ExitCode::Crashed, u"%1 cannot be read: %2"_s.arg(what, problem));
}

void checkSize(std::uint64_t bytes, const Job &job)
{
    if (bytes > static_cast<std::uint64_t>(job.maximumOutput) << 20U)
        throw tooLargeForOutput(job.maximumOutput);
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
    check(pdfEdits()(printed, described, pdf, record.pages, problem), u"the printed PDF"_s, problem);
    checkSize(static_cast<std::uint64_t>(pdf.size()), job);
    return pdf;
}

void joinPdfs(const std::vector<Part> &parts, const PartReader &read, const Job &job, Spool &spool)
{
    // What is thrown here must not be taken for a fault of a PDF.
    std::exception_ptr failure;
    const auto guarded = [&failure](const auto &action) {
        try {
            return action();
        } catch (...) {
            failure = std::current_exception();
            throw;
        }
    };
    QString problem;
    const EditOutcome outcome = loadedFunction<JoinPdfs>(joinPdfsName)(
        parts, [&](size_t index) { return guarded([&] { return read(index); }); }, job,
        [&](std::string_view bytes) {
            guarded([&] {
                spool.append(bytes);
                checkSize(spool.size(), job);
            });
        },
        problem);
    if (failure)
        std::rethrow_exception(failure);
    check(outcome, u"a printed PDF"_s, problem);
}
