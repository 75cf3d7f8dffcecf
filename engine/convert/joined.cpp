#include "engine/convert/joined.h"

#include "engine/base/output.h"
#include "engine/base/spool.h"
#include "engine/base/temporary.h"
#include "engine/client/report.h"
#include "engine/convert/convert.h"
#include "engine/finish/finish.h"
#include "engine/job/failure.h"
#include "engine/job/input.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <algorithm>
#include <cmath>
#include <exception>
#include <list>
#include <mutex>
#include <thread>

using namespace Qt::StringLiterals;

namespace
{

/// Throws if the output would replace something other than a PDF: with a shell's pattern and no output after
/// it, that is the last input.
void checkReplacesNoOther(const Job &job)
{
    const QFileInfo older(QDir(job.folder).filePath(job.output));
    QFile file(older.filePath());
    if (older.isFile() && older.size() > 0 && file.open(QIODevice::ReadOnly) && file.read(5) != "%PDF-")
        throw Failure(
            ExitCode::BadArguments,
            u"%1 is there and no PDF: name the PDF to write after the inputs"_s.arg(onOneLine(job.output)));
}

QString withName(const QString &message, const QString &name)
{
    return message.startsWith(name + u':') ? message : u"%1: %2"_s.arg(name, message);
}

/// "about 40 s left"
std::string leftAfter(std::chrono::steady_clock::duration passed, size_t done, size_t all)
{
    const double seconds = std::chrono::duration<double>(passed).count() / static_cast<double>(done) *
                           static_cast<double>(all - done);
    const auto rounded = [](double value) { return std::to_string(std::max(std::lround(value), 1L)); };
    return "about " + (seconds < 100 ? rounded(seconds) + " s left" : rounded(seconds / 60) + " min left");
}

/// One of the inputs.
struct Input {
    QString shown;
    QUrl address;
    Findings findings = {};
    Spool::Piece pdf = {};
};

/// As if the input of this index were the only one.
Invocation partInvocation(const Invocation &whole, const Joining &joining, qsizetype index)
{
    const QString &input = joining.inputs[index];
    Invocation invocation{joining.partArguments, whole.variables, whole.folder, Deadline::Clock::now(), true};
    for (const QString &argument : {u"--"_s, input, joining.whole.output})
        invocation.arguments.push_back(argument.toStdString());
    if (input == "-"_L1)
        invocation.document = whole.document;
    return invocation;
}

/// Prints all inputs.
class Printing
{
public:
    Printing(const Invocation &invocation, const Joining &joining, PartReading readPart,
             const ActivityListener &listener, Spool &spool, std::vector<Input> &inputs)
        : m_invocation(invocation), m_joining(joining), m_readPart(readPart), m_listener(listener),
          m_spool(spool), m_inputs(inputs)
    {
    }

    /// Throws what the first input throws that fails.
    void run()
    {
        const size_t count =
            std::min<size_t>(std::max(std::thread::hardware_concurrency(), 1U), m_inputs.size());
        {
            std::vector<std::jthread> threads;
            try {
                while (threads.size() < count)
                    threads.emplace_back([this] { work(); });
            } catch (const std::system_error &) {
                // Works with fewer threads.
                if (threads.empty())
                    work();
            }
        }
        if (m_failure)
            std::rethrow_exception(m_failure);
    }

private:
    void work()
    {
        Cancellation *cancellation = nullptr;
        {
            const std::lock_guard lock(m_mutex);
            cancellation = &m_cancellations.emplace_back();
        }
        for (;;) {
            size_t index = 0;
            {
                const std::lock_guard lock(m_mutex);
                if (m_failure || m_next == m_inputs.size())
                    return;
                index = m_next++;
            }
            try {
                print(index, *cancellation);
            } catch (const Cancelled &) {
                return;
            } catch (const Failure &failure) {
                // Without a browser it is no fault of the input.
                const QString message = failure.code() == ExitCode::NoBrowser
                                            ? failure.message()
                                            : withName(failure.message(), m_inputs[index].shown);
                fail(std::make_exception_ptr(Failure(failure.code(), message)));
                return;
            } catch (...) {
                fail(std::current_exception());
                return;
            }
        }
    }

    void print(size_t index, Cancellation &cancellation)
    {
        Input &input = m_inputs[index];
        const Invocation invocation = partInvocation(m_invocation, m_joining, static_cast<qsizetype>(index));
        ::print(
            invocation, m_readPart(invocation).value(), UseServer::Yes,
            [this](std::string_view activity) { tell(activity); }, cancellation, input.findings,
            [&](std::string_view pdf) { input.pdf = m_spool.append(pdf); });
        const std::lock_guard lock(m_mutex);
        ++m_done;
    }

    /// Throws Cancelled if an input has failed.
    void tell(std::string_view activity)
    {
        const std::lock_guard lock(m_mutex);
        if (m_failure)
            throw Cancelled();
        const auto passed = Deadline::Clock::now() - m_invocation.begun;
        m_listener(std::to_string(m_done) + " of " + std::to_string(m_inputs.size()) + " printed, " +
                   (m_done > 0 ? leftAfter(passed, m_done, m_inputs.size()) + ", " : std::string()) +
                   std::string(activity));
    }

    void fail(const std::exception_ptr &failure)
    {
        const std::lock_guard lock(m_mutex);
        if (m_failure)
            return;
        m_failure = failure;
        for (Cancellation &cancellation : m_cancellations)
            cancellation.cancel();
    }

    const Invocation &m_invocation;
    const Joining &m_joining;
    PartReading m_readPart;
    const ActivityListener &m_listener;
    Spool &m_spool;
    std::vector<Input> &m_inputs;
    std::mutex m_mutex;
    size_t m_next = 0;
    size_t m_done = 0;
    std::exception_ptr m_failure;
    /// One for each thread.
    std::list<Cancellation> m_cancellations;
};

/// Throws Failure if an input is known not to be convertible.
std::vector<Input> inputsOf(const Invocation &invocation, const Joining &joining, PartReading readPart)
{
    std::vector<Input> inputs;
    for (qsizetype index = 0; index < joining.inputs.size(); ++index) {
        const Address address = addressOf(readPart(partInvocation(invocation, joining, index)).value());
        inputs.push_back({onOneLine(address.shown), QUrl(address.url)});
    }
    return inputs;
}

/// The members of the report for all inputs.
std::string reportOf(const std::vector<Input> &inputs, int copies)
{
    QJsonArray reports;
    QJsonArray warnings;
    int pages = 0;
    int requests = 0;
    int failed = 0;
    QJsonObject first;
    for (const Input &input : inputs) {
        if (input.findings.report.empty())
            continue;
        const QJsonObject report =
            QJsonDocument::fromJson(QByteArray::fromStdString('{' + input.findings.report + '}')).object();
        const QJsonArray own = report["warnings"_L1].toArray();
        for (const auto &warning : own)
            warnings.append(withName(warning.toString(), input.shown));
        pages += report["pages"_L1].toInt();
        requests += report["requests"_L1].toObject()["count"_L1].toInt();
        failed += report["requests"_L1].toObject()["failed"_L1].toInt();
        if (first.isEmpty())
            first = report;
        reports.append(report);
    }
    const QJsonObject whole{
        {u"inputs"_s, reports},
        {u"pages"_s, pages * copies},
        {u"warnings"_s, warnings},
        {u"requests"_s, QJsonObject{{u"count"_s, requests}, {u"failed"_s, failed}}},
        {u"browser"_s, first["browser"_L1].isString() ? first["browser"_L1] : QJsonValue()},
        {u"engine"_s, first["engine"_L1].isString() ? first["engine"_L1] : QJsonValue()}};
    const QByteArray text = QJsonDocument(whole).toJson(QJsonDocument::Compact);
    return text.sliced(1, text.size() - 2).toStdString();
}

Findings findingsOf(const std::vector<Input> &inputs, const Job &whole)
{
    Findings findings;
    for (const Input &input : inputs) {
        for (const std::string &warning : input.findings.warnings)
            findings.warnings.push_back(withName(QString::fromStdString(warning), input.shown).toStdString());
    }
    if (!whole.report.isEmpty())
        findings.report = reportOf(inputs, whole.copies);
    return findings;
}

} // namespace

size_t convertJoined(const Invocation &invocation, const Joining &joining, PartReading readPart,
                     const ActivityListener &listener, Findings &findings)
{
    const Job &whole = joining.whole;
    const std::string output = whole.output.toStdString();
    checkReplacesNoOther(whole);
    std::vector<Input> inputs = inputsOf(invocation, joining, readPart);
    Spool printed(temporaryFolder());
    try {
        Printing(invocation, joining, readPart, listener, printed, inputs).run();
    } catch (...) {
        findings = findingsOf(inputs, whole);
        throw;
    }
    findings = findingsOf(inputs, whole);
    listener("joining " + std::to_string(inputs.size()) + " PDFs");
    std::vector<Part> parts;
    for (const Input &input : inputs) {
        const QUrl loaded = QUrl::fromEncoded(QByteArray::fromStdString(input.findings.address));
        parts.push_back({input.shown, {input.address, loaded}});
    }
    Spool joined(temporaryFolder());
    joinPdfs(
        parts, [&](size_t index) { return QByteArray::fromStdString(printed.read(inputs[index].pdf)); },
        whole, joined);
    writeOutput(output, joined);
    return static_cast<size_t>(joined.size());
}
