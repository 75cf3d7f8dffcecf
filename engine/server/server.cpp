#include "engine/server/server.h"

#include "engine/base/descriptor.h"
#include "engine/client/endpoint.h"
#include "engine/client/message.h"
#include "engine/client/start.h"
#include "engine/finish/finish.h"
#include "engine/page/cancellation.h"
#include "engine/page/printing.h"
#include "engine/server/browserpool.h"

#include <sys/socket.h>
#include <sys/un.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <list>
#include <poll.h>
#include <stdexcept>
#include <system_error>
#include <unistd.h>
#include <vector>
#ifdef __GLIBC__
#include <malloc.h>
#endif
#ifdef __linux__
#include <sys/prctl.h>
#endif

using namespace std::chrono_literals;

namespace
{

constexpr auto heartbeatInterval = 100ms;
/// Blank pages kept ready in a browser, so that a few jobs in a row do not wait for them. About 7 MB each.
constexpr size_t sparePages = 6;
/// So many browsers are kept for the next jobs where there are fewer cores: for different launch flags.
constexpr size_t minimumIdleBrowsers = 3;
/// Further clients are refused and run cold.
constexpr size_t maximumClients = 200;
/// An order is refused and runs cold after waiting this long while no other order was started either.
constexpr auto queueTimeout = 250ms;
/// For a client to send its order, from when it has connected.
constexpr auto orderTimeout = 2s;
/// For a client to read its result.
constexpr auto resultTimeout = 30s;
/// For the browser to close the page of a cancelled job.
constexpr auto closeTimeout = 1s;
constexpr std::chrono::milliseconds maximumPoll = 1h;

struct Reply {
    FrameKind kind;
    QByteArray body;
};

QByteArray bytesOf(const std::string &text)
{
    return QByteArray::fromStdString(text);
}

Reply replyOf(const Failure &failure)
{
    return {FrameKind::Failure,
            bytesOf(failureBody({failure.code(), failure.isFinal(), failure.message().toStdString()}))};
}

/// An order, shared by the main thread, which talks to the client, and the worker thread that does the job.
struct Task {
    Task(Job j, Deadline d) : job(std::move(j)), deadline(d) {}

    void setActivity(std::string_view activity)
    {
        const std::lock_guard lock(mutex);
        doing = QByteArray(activity.data(), static_cast<qsizetype>(activity.size()));
    }
    QByteArray activity()
    {
        const std::lock_guard lock(mutex);
        return doing;
    }

    const Job job;
    const Deadline deadline;
    const Deadline::Clock::time_point arrival = Deadline::Clock::now();
    Cancellation cancellation;
    std::mutex mutex;
    QByteArray doing = "waiting for other jobs";
    JobRecord record;
    /// Valid when `done`, unless cancelled.
    Reply result{FrameKind::Failure, {}};
    std::atomic<bool> done = false;
};

/// The threads that do the jobs, and the queue of tasks.
class Workers
{
public:
    /// Writes a byte to the descriptor `wake` when a task is done. Throws std::system_error if no thread can
    /// be created.
    Workers(size_t count, int wake)
        : m_pool([](const LaunchFlags &flags) { return std::make_shared<PooledBrowser>(flags, sparePages); },
                 {std::max(count, minimumIdleBrowsers)}),
          m_wake(wake)
    {
        m_threads.emplace_back([this] { work(); });
        try {
            while (m_threads.size() < count)
                m_threads.emplace_back([this] { work(); });
        } catch (const std::system_error &) {
            // Works with fewer threads.
        }
    }
    Workers(const Workers &) = delete;
    Workers &operator=(const Workers &) = delete;
    ~Workers()
    {
        {
            const std::lock_guard lock(m_mutex);
            m_closing = true;
        }
        m_changed.notify_all();
        for (std::thread &thread : m_threads)
            thread.join();
    }

    void add(const std::shared_ptr<Task> &task)
    {
        {
            const std::lock_guard lock(m_mutex);
            m_waiting.push_back(task);
        }
        m_changed.notify_one();
    }

    /// Removes the task from the queue; false if it has been started.
    bool withdraw(const std::shared_ptr<Task> &task)
    {
        const std::lock_guard lock(m_mutex);
        return std::erase(m_waiting, task) > 0;
    }

    /// Whether the task has waited for longer than queueTimeout while no task was started.
    bool isStalled(const Task &task)
    {
        const std::lock_guard lock(m_mutex);
        return Deadline::Clock::now() - std::max(task.arrival, m_lastBegun) > queueTimeout;
    }

private:
    void work()
    {
        for (;;) {
            std::unique_lock lock(m_mutex);
            m_changed.wait(lock, [this] { return m_closing || !m_waiting.empty(); });
            if (m_closing)
                return;
            const std::shared_ptr<Task> task = std::move(m_waiting.front());
            m_waiting.pop_front();
            m_lastBegun = Deadline::Clock::now();
            lock.unlock();
            task->result = resultOf(*task);
            task->done = true;
            [[maybe_unused]] const ssize_t written = ::write(m_wake, "", 1);
        }
    }

    Reply resultOf(Task &task)
    {
        try {
            return {FrameKind::Pdf, finishPdf(printedOf(task), task.job, task.record)};
        } catch (const Failure &failure) {
            return replyOf(failure);
        } catch (const std::exception &error) {
            return replyOf(Failure(ExitCode::Crashed, QString::fromUtf8(error.what())));
        }
    }

    QByteArray printedOf(Task &task)
    {
        // Throws if the task was cancelled while it was in the queue.
        task.cancellation.setPage(nullptr);
        const Order order = orderOf(task.job, task.deadline);
        const std::shared_ptr<PooledBrowser> browser = m_pool.take(launchFlagsFor(order.job));
        const WatchedJob watched(browser->memory());
        try {
            return printedBy(*browser, order, task);
        } catch (const Failure &failure) {
            if (failure.code() == ExitCode::OutOfTime)
                browser->markUnresponsive();
            throw watched.withReason(failure, order.address.shown);
        }
    }

    static QByteArray printedBy(PooledBrowser &browser, const Order &order, Task &task)
    {
        std::unique_ptr<Page> page;
        bool isPrinted = false;
        // Destroyed before `page`, so that cancel() cannot use a page that is gone.
        struct Finish {
            Task &task;
            PooledBrowser &browser;
            std::unique_ptr<Page> &page;
            bool &isPrinted;

            ~Finish()
            {
                task.cancellation.removePage();
                if (page && page->isBeingDrawn())
                    browser.markUnresponsive();
                browser.finishJob(isPrinted ? std::move(page) : nullptr);
            }
        } finish{task, browser, page, isPrinted};
        page = browser.takePage(order.job.proxy, order.deadline);
        try {
            task.cancellation.setPage(page.get());
            QByteArray printed = printPage(*page, order, task.record, [&](std::string_view activity) {
                task.setActivity(activity);
                if (task.record.step() == JobStep::Print)
                    browser.notePrinting();
            });
            isPrinted = true;
            return printed;
        } catch (const Cancelled &) {
            // The browser is usable if it can still close the page.
            if (!page->closeWithin(closeTimeout))
                browser.markUnresponsive();
            throw;
        }
    }

    BrowserPool m_pool;
    int m_wake;
    std::mutex m_mutex;
    std::condition_variable m_changed;
    std::deque<std::shared_ptr<Task>> m_waiting;
    Deadline::Clock::time_point m_lastBegun;
    bool m_closing = false;
    std::vector<std::thread> m_threads;
};

/// One engine's connection. It is closed when its result has been sent, when the engine has closed it, and on
/// timeouts.
class Client
{
public:
    explicit Client(Descriptor socket) : m_socket(std::move(socket))
    {
        ::fcntl(m_socket.get(), F_SETFL, O_NONBLOCK);
    }
    Client(const Client &) = delete;
    Client &operator=(const Client &) = delete;
    ~Client()
    {
        if (m_task)
            m_task->cancellation.cancel();
    }

    /// Whether it has not sent its order, or not read its result, in time.
    bool isOverdue() const { return (!m_task || m_finished) && m_timeout.passed(); }

    pollfd toPoll() const
    {
        return {m_socket.get(), static_cast<short>(m_outgoing.empty() ? POLLIN : POLLIN | POLLOUT), 0};
    }

    /// Reads and handles what has been received; false if the connection is to be closed.
    bool read(Workers &workers, JobReader readJob)
    {
        char buffer[1 << 14];
        const ssize_t count = ::recv(m_socket.get(), buffer, sizeof(buffer), 0);
        if (count < 0)
            return errno == EAGAIN || errno == EINTR;
        // An engine sends exactly one order.
        if (count == 0 || m_task || m_finished)
            return false;
        m_incoming.append(buffer, static_cast<size_t>(count));
        const std::optional<Frame> frame = takeFrame(m_incoming, maximumOrder);
        if (!frame)
            return true;
        if (frame->kind != FrameKind::Order)
            return false;
        const Invocation invocation = invocationFrom(frame->body);
        if (std::optional<Job> job = readJob(invocation))
            begin(std::move(*job), invocation.begun, workers);
        else
            finish({FrameKind::Refusal, {}});
        return true;
    }

    void takeResult()
    {
        if (!m_task || !m_task->done || m_finished)
            return;
        queue({FrameKind::Findings, bytesOf(findingsBody(m_task->record.findings(m_task->job)))});
        finish(std::move(m_task->result));
    }

    /// Refuses an order that has waited too long; otherwise tells the client that the server is alive.
    void sendHeartbeat(Workers &workers)
    {
        if (m_task && !m_finished && workers.isStalled(*m_task) && workers.withdraw(m_task))
            finish({FrameKind::Refusal, {}});
        // Unless the last one has not been sent yet.
        if (m_outgoing.empty() && m_task)
            queue({FrameKind::Alive, m_task->activity()});
    }

    /// Sends what the socket takes; false if the connection is to be closed.
    bool write()
    {
        while (!m_outgoing.empty()) {
            const QByteArray &bytes = m_outgoing.front();
            const ssize_t count = ::send(m_socket.get(), bytes.constData() + m_sent,
                                         static_cast<size_t>(bytes.size() - m_sent), MSG_NOSIGNAL);
            if (count < 0)
                return errno == EAGAIN || errno == EINTR;
            m_sent += count;
            if (m_sent < bytes.size())
                return true;
            m_outgoing.pop_front();
            m_sent = 0;
        }
        return !m_finished;
    }

private:
    /// A small body is sent together with its header, so that the client wakes up once. A large one is queued
    /// without a copy: copying gigabytes would delay the heartbeats of other clients.
    void queue(Reply reply)
    {
        constexpr qsizetype smallBody = 1 << 16;
        m_outgoing.push_back(bytesOf(frameHeader(reply.kind, static_cast<size_t>(reply.body.size()))));
        if (reply.body.size() <= smallBody)
            m_outgoing.back() += reply.body;
        else
            m_outgoing.push_back(std::move(reply.body));
    }
    void begin(Job job, Deadline::Clock::time_point begun, Workers &workers)
    {
        const Deadline deadline = Deadline::after(begun, job.timeout);
        const auto left =
            std::chrono::duration_cast<std::chrono::milliseconds>(deadline.time() - Deadline::Clock::now());
        queue({FrameKind::Accepted,
               bytesOf(acceptanceBody({std::max(left, 0ms), job.output.toStdString(),
                                       nameOf(job).toStdString(), job.report.toStdString(), job.quiet}))});
        m_task = std::make_shared<Task>(std::move(job), deadline);
        workers.add(m_task);
    }
    void finish(Reply reply)
    {
        queue(std::move(reply));
        m_finished = true;
        m_timeout = Deadline::in(resultTimeout);
    }

    Descriptor m_socket;
    Deadline m_timeout = Deadline::in(orderTimeout);
    std::string m_incoming;
    std::deque<QByteArray> m_outgoing;
    /// Bytes of the first of them that have been sent.
    qsizetype m_sent = 0;
    std::shared_ptr<Task> m_task;
    bool m_finished = false;
};

/// False if the connection is to be closed.
bool serve(Client &client, short events, Workers &workers, JobReader readJob)
{
    try {
        if ((events & (POLLIN | POLLHUP | POLLERR)) != 0 && !client.read(workers, readJob))
            return false;
        client.takeResult();
        return client.write() && !client.isOverdue();
    } catch (const std::exception &) {
        // Not a message of an engine, or out of memory.
        return false;
    }
}

/// Accepts all clients that are waiting.
void acceptAll(const Descriptor &listening, std::list<Client> &clients)
{
    while (Descriptor socket{::accept(listening.get(), nullptr, nullptr)}) {
        ::fcntl(socket.get(), F_SETFD, FD_CLOEXEC);
        if (clients.size() < maximumClients && peerIsSameUser(socket.get()))
            clients.emplace_back(std::move(socket));
    }
    // Out of descriptors: try again a little later.
    if (errno != EAGAIN)
        ::usleep(10000);
}

bool isBoundTo(int socket, const std::string &path)
{
    sockaddr_un address{};
    socklen_t size = sizeof(address);
    return ::getsockname(socket, reinterpret_cast<sockaddr *>(&address), &size) == 0 &&
           address.sun_family == AF_UNIX && path == address.sun_path;
}

/// Wakes the event loop from other threads and from the signal handler.
Pipe wake;
std::atomic<bool> stopping = false;

void stop(int)
{
    const int error = errno;
    stopping = true;
    [[maybe_unused]] const ssize_t written = ::write(wake.writeEnd.get(), "", 1);
    errno = error;
}

void drain(int descriptor)
{
    char bytes[64];
    while (::read(descriptor, bytes, sizeof(bytes)) > 0) {
    }
}

/// The event loop: accepts orders and sends results until there has been no client for `idle`.
void serveAll(const Descriptor &listening, Workers &workers, JobReader readJob, std::chrono::seconds idle,
              std::list<Client> &clients)
{
    Deadline idleEnd = Deadline::in(idle);
    Deadline nextHeartbeat = Deadline::in(heartbeatInterval);
    while (!stopping && (!clients.empty() || !idleEnd.passed())) {
        std::vector<pollfd> sources{{listening.get(), POLLIN, 0}, {wake.readEnd.get(), POLLIN, 0}};
        for (const Client &client : clients)
            sources.push_back(client.toPoll());
        const auto until = clients.empty() ? idleEnd : nextHeartbeat;
        const auto wait = std::chrono::ceil<std::chrono::milliseconds>(until.time() - Deadline::Clock::now());
        ::poll(sources.data(), sources.size(),
               static_cast<int>(std::clamp(wait, std::chrono::milliseconds(0), maximumPoll).count()));

        drain(wake.readEnd.get());
        const bool heartbeatDue = nextHeartbeat.passed();
        if (heartbeatDue)
            nextHeartbeat = Deadline::in(heartbeatInterval);
        auto source = sources.cbegin() + 2;
        for (auto client = clients.begin(); client != clients.end(); ++source) {
            if (heartbeatDue)
                client->sendHeartbeat(workers);
            client =
                serve(*client, source->revents, workers, readJob) ? std::next(client) : clients.erase(client);
        }
        if (sources[0].revents != 0)
            acceptAll(listening, clients);
        if (!clients.empty())
            idleEnd = Deadline::in(idle);
    }
}

} // namespace

int runServer(Descriptor listening, const std::string &executable, int idleSeconds, JobReader readJob)
{
    const std::optional<Endpoint> endpoint = findEndpoint(executable, IfNone::GiveUp);
    if (!endpoint || !isBoundTo(listening.get(), endpoint->socket))
        return 1;
    std::optional<Pipe> made = makePipe();
    if (!made) {
        removeEndpoint(*endpoint, serverLock);
        return 1;
    }
    wake = std::move(*made);
    for (const int descriptor : {listening.get(), serverLock})
        ::fcntl(descriptor, F_SETFD, FD_CLOEXEC);
    for (const int descriptor : {listening.get(), wake.readEnd.get(), wake.writeEnd.get()})
        ::fcntl(descriptor, F_SETFL, O_NONBLOCK);
    std::signal(SIGTERM, stop);
    // The process that started this one has blocked SIGTERM until here (client/start.cpp).
    sigset_t none;
    ::sigemptyset(&none);
    ::sigprocmask(SIG_SETMASK, &none, nullptr);
#ifdef __linux__
    // For process lists that show this name instead of arguments.
    ::prctl(PR_SET_NAME, serverName);
#endif
#ifdef __GLIBC__
    // Many threads use large short-lived buffers: keep few arenas, and return free memory to the system.
    ::mallopt(M_ARENA_MAX, 2);
    ::mallopt(M_TRIM_THRESHOLD, 4 << 20);
#endif
    std::optional<Workers> started;
    try {
        started.emplace(std::max(std::thread::hardware_concurrency(), 1U), wake.writeEnd.get());
    } catch (const std::system_error &) {
        // No thread can be created.
        removeEndpoint(*endpoint, serverLock);
        return 1;
    }
    Workers &workers = *started;
    std::list<Client> clients;
    serveAll(listening, workers, readJob, std::chrono::seconds(idleSeconds), clients);
    // From here on the next engine starts a new server; clients that have connected by now are still served.
    removeEndpoint(*endpoint, serverLock);
    acceptAll(listening, clients);
    listening.reset();
    serveAll(listening, workers, readJob, {}, clients);
    return 0;
}
