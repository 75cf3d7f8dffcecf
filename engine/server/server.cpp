#include "engine/server/server.h"

#include "engine/client/endpoint.h"
#include "engine/client/message.h"
#include "engine/client/start.h"
#include "engine/finish/finish.h"
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
/// Pages kept ready in a browser, so that a few jobs in a row do not wait for them. Each takes some 7 MB.
constexpr size_t sparePages = 6;
/// Further clients are refused and run cold.
constexpr size_t maximumClients = 200;
/// An order that has waited so long, while no other has been begun either, is refused and runs cold.
constexpr auto queueTimeout = 250ms;
/// For a client to send its order.
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

/// An order between the thread that talks to its client and the one that works on it.
struct Task {
    Task(Job j, Deadline d) : job(std::move(j)), deadline(d) {}

    void cancel()
    {
        const std::lock_guard lock(mutex);
        cancelled = true;
        if (page)
            page->cancel();
    }
    /// Makes `p` the page that cancel() stops; throws Cancelled if that has been called already.
    void setPage(Page *p)
    {
        const std::lock_guard lock(mutex);
        page = p;
        if (cancelled)
            throw Cancelled();
    }
    /// To be called before the page goes.
    void removePage()
    {
        const std::lock_guard lock(mutex);
        page = nullptr;
    }

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
    std::mutex mutex;
    Page *page = nullptr;
    bool cancelled = false;
    QByteArray doing = "waiting for other jobs";
    JobRecord record;
    /// To be sent, once done; of no meaning if cancelled.
    Reply result{FrameKind::Failure, {}};
    std::atomic<bool> done = false;
};

/// The threads that do the work, and what waits for them.
class Workers
{
public:
    /// `wake` is written to whenever a task is done. Throws std::system_error if no thread can be made.
    Workers(size_t count, int wake)
        : m_pool([](const LaunchFlags &flags) { return std::make_shared<KeptBrowser>(flags, sparePages); }),
          m_wake(wake)
    {
        m_threads.emplace_back([this] { work(); });
        try {
            while (m_threads.size() < count)
                m_threads.emplace_back([this] { work(); });
        } catch (const std::system_error &) {
            // Fewer are enough.
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

    /// Takes it back if it has not been begun; false if it has.
    bool withdraw(const std::shared_ptr<Task> &task)
    {
        const std::lock_guard lock(m_mutex);
        return std::erase(m_waiting, task) > 0;
    }

    /// Whether this task has waited for too long, because the tasks of all threads take long.
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
        // It may have been cancelled while it was waiting.
        task.setPage(nullptr);
        const Order order{task.job, resolveInput(task.job.input, task.job.folder), task.deadline};
        const std::shared_ptr<KeptBrowser> browser = m_pool.browserFor(launchFlagsFor(order.job));
        const WatchedJob watched(browser->memory());
        try {
            return printedBy(*browser, order, task);
        } catch (const Failure &failure) {
            if (failure.code() == ExitCode::OutOfTime)
                browser->markUnresponsive();
            throw watched.withReason(failure, order.address.shown);
        }
    }

    static QByteArray printedBy(KeptBrowser &browser, const Order &order, Task &task)
    {
        std::unique_ptr<Page> page;
        // Whatever comes of it, the page is not cancelled after its end.
        struct Leave {
            Task &task;
            KeptBrowser &browser;
            std::unique_ptr<Page> done;

            ~Leave()
            {
                task.removePage();
                browser.finishJob(std::move(done));
            }
        } leave{task, browser, nullptr};
        page = browser.takePage(order.job.proxy, order.deadline);
        try {
            task.setPage(page.get());
            QByteArray printed = printPage(*page, order, task.record, [&task](std::string_view activity) {
                task.setActivity(activity);
            });
            leave.done = std::move(page);
            return printed;
        } catch (const Cancelled &) {
            // The browser is not to blame.
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

/// One engine's connection. It ends when its result has been sent, or the engine has gone or does nothing.
class Client
{
public:
    explicit Client(int socket) : m_socket(socket) { ::fcntl(m_socket, F_SETFL, O_NONBLOCK); }
    Client(const Client &) = delete;
    Client &operator=(const Client &) = delete;
    ~Client()
    {
        if (m_task)
            m_task->cancel();
        ::close(m_socket);
    }

    /// Whether it has sent no order, or not read its result, in time.
    bool isOverdue() const { return (!m_task || m_finished) && m_timeout.passed(); }

    pollfd toPoll() const
    {
        return {m_socket, static_cast<short>(m_outgoing.empty() ? POLLIN : POLLIN | POLLOUT), 0};
    }

    /// Deals with what can be read; false when the connection is to be closed.
    bool read(Workers &workers, JobReader readJob)
    {
        char buffer[1 << 14];
        const ssize_t count = ::recv(m_socket, buffer, sizeof(buffer), 0);
        if (count < 0)
            return errno == EAGAIN || errno == EINTR;
        // An engine sends one order only.
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

    /// Refuses an order that cannot be begun, and tells the other clients that theirs is being worked on.
    void sendHeartbeat(Workers &workers)
    {
        if (m_task && !m_finished && workers.isStalled(*m_task) && workers.withdraw(m_task))
            finish({FrameKind::Refusal, {}});
        // Unless the last one has not been read yet.
        if (m_outgoing.empty() && m_task)
            queue({FrameKind::Alive, m_task->activity()});
    }

    /// Sends what can be sent; false when the connection is to be closed.
    bool write()
    {
        while (!m_outgoing.empty()) {
            const QByteArray &bytes = m_outgoing.front();
            const ssize_t count = ::send(m_socket, bytes.constData() + m_sent,
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
    /// A small body goes with its header, which wakes the client once. A large one is not copied: while
    /// gigabytes are, no other client would get its heartbeat.
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

    int m_socket;
    Deadline m_timeout = Deadline::in(orderTimeout);
    std::string m_incoming;
    std::deque<QByteArray> m_outgoing;
    /// Of the first of them.
    qsizetype m_sent = 0;
    std::shared_ptr<Task> m_task;
    bool m_finished = false;
};

/// Whether the connection goes on.
bool serve(Client &client, short events, Workers &workers, JobReader readJob)
{
    try {
        if ((events & (POLLIN | POLLHUP | POLLERR)) != 0 && !client.read(workers, readJob))
            return false;
        client.takeResult();
        return client.write() && !client.isOverdue();
    } catch (const std::exception &) {
        // No message of an engine, or no memory for it.
        return false;
    }
}

/// Accepts the clients that are waiting.
void acceptAll(int listening, std::list<Client> &clients)
{
    for (int socket = ::accept(listening, nullptr, nullptr); socket >= 0;
         socket = ::accept(listening, nullptr, nullptr)) {
        ::fcntl(socket, F_SETFD, FD_CLOEXEC);
        if (clients.size() < maximumClients && peerIsSameUser(socket))
            clients.emplace_back(socket);
        else
            ::close(socket);
    }
    // Out of descriptors: the clients can be accepted in a moment.
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

/// Wakes the loop from other threads and from the signal handler.
int wakeEnds[2] = {-1, -1};
std::atomic<bool> stopping = false;

void stop(int)
{
    const int error = errno;
    stopping = true;
    [[maybe_unused]] const ssize_t written = ::write(wakeEnds[1], "", 1);
    errno = error;
}

void drain(int descriptor)
{
    char bytes[64];
    while (::read(descriptor, bytes, sizeof(bytes)) > 0) {
    }
}

/// Takes orders and sends results until there has been nothing to do for `idle`.
void serveAll(int listening, Workers &workers, JobReader readJob, std::chrono::seconds idle,
              std::list<Client> &clients)
{
    Deadline idleEnd = Deadline::in(idle);
    Deadline nextHeartbeat = Deadline::in(heartbeatInterval);
    while (!stopping && (!clients.empty() || !idleEnd.passed())) {
        std::vector<pollfd> sources{{listening, POLLIN, 0}, {wakeEnds[0], POLLIN, 0}};
        for (const Client &client : clients)
            sources.push_back(client.toPoll());
        const auto until = clients.empty() ? idleEnd : nextHeartbeat;
        const auto wait = std::chrono::ceil<std::chrono::milliseconds>(until.time() - Deadline::Clock::now());
        ::poll(sources.data(), sources.size(),
               static_cast<int>(std::clamp(wait, std::chrono::milliseconds(0), maximumPoll).count()));

        drain(wakeEnds[0]);
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

int runServer(int listening, const std::string &executable, int idleSeconds, JobReader readJob)
{
    const std::optional<Endpoint> endpoint = findEndpoint(executable, IfNone::GiveUp);
    if (!endpoint || !isBoundTo(listening, endpoint->socket))
        return 1;
    if (::pipe(wakeEnds) != 0) {
        removeEndpoint(*endpoint, serverLock);
        return 1;
    }
    for (const int descriptor : {listening, serverLock, wakeEnds[0], wakeEnds[1]})
        ::fcntl(descriptor, F_SETFD, FD_CLOEXEC);
    for (const int descriptor : {listening, wakeEnds[0], wakeEnds[1]})
        ::fcntl(descriptor, F_SETFL, O_NONBLOCK);
    std::signal(SIGTERM, stop);
    // SIGTERM has been blocked since before this program began.
    sigset_t none;
    ::sigemptyset(&none);
    ::sigprocmask(SIG_SETMASK, &none, nullptr);
#ifdef __linux__
    // For lists of processes that do not show arguments.
    ::prctl(PR_SET_NAME, serverName);
#endif
#ifdef __GLIBC__
    // Many short-lived large buffers in many threads: few arenas, and what is free goes back.
    ::mallopt(M_ARENA_MAX, 2);
    ::mallopt(M_TRIM_THRESHOLD, 4 << 20);
#endif
    std::optional<Workers> started;
    try {
        started.emplace(std::max(std::thread::hardware_concurrency(), 1U), wakeEnds[1]);
    } catch (const std::system_error &) {
        // No thread can be made.
        removeEndpoint(*endpoint, serverLock);
        return 1;
    }
    Workers &workers = *started;
    std::list<Client> clients;
    serveAll(listening, workers, readJob, std::chrono::seconds(idleSeconds), clients);
    // From here on the next engine starts a new server; clients that have connected by now are still served.
    removeEndpoint(*endpoint, serverLock);
    acceptAll(listening, clients);
    ::close(listening);
    serveAll(-1, workers, readJob, {}, clients);
    return 0;
}
