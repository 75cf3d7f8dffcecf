#include "engine/server/server.h"

#include "engine/finish/finish.h"
#include "engine/job/descriptor.h"
#include "engine/server/browserpool.h"
#include "engine/server/endpoint.h"
#include "engine/server/message.h"
#include "engine/server/start.h"

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

constexpr auto betweenSignsOfLife = 100ms;
/// Pages kept ready in a browser, so that a few jobs in a row do not wait for them. Each takes some 7 MB.
constexpr size_t sparePages = 6;
/// Who comes beyond these is better off alone.
constexpr size_t mostClients = 200;
/// When an order has waited so long and none has been begun in this time, it is better off alone.
constexpr auto longestStandstill = 250ms;
/// In this time a client has said what it wants.
constexpr auto orderingTime = 2s;
/// In this time it has taken what it has got.
constexpr auto takingTime = 30s;
constexpr std::chrono::milliseconds longestSleep = 1h;

/// An order between the thread that talks to its client and the one that works on it.
struct Task {
    explicit Task(Order o) : order(std::move(o)) {}

    void cancel()
    {
        const std::lock_guard lock(mutex);
        cancelled = true;
        if (page)
            page->cancel();
    }
    /// Makes `p` the page that cancel() stops; false if it has been called already.
    bool enter(Page *p)
    {
        const std::lock_guard lock(mutex);
        page = p;
        return !cancelled;
    }

    void setActivity(const QString &activity)
    {
        const std::lock_guard lock(mutex);
        doing = activity.toUtf8();
    }
    QByteArray activity()
    {
        const std::lock_guard lock(mutex);
        return doing;
    }

    const Order order;
    const Deadline::Clock::time_point arrival = Deadline::Clock::now();
    std::mutex mutex;
    Page *page = nullptr;
    bool cancelled = false;
    QByteArray doing = "waiting for other jobs";
    /// The frame to send, once done.
    QByteArray result;
    std::atomic<bool> done = false;
};

/// The threads that do the work, and what waits for them.
class Workers
{
public:
    /// `wake` is written to whenever a task is done. Throws std::system_error if there is no thread to be
    /// had.
    Workers(size_t count, int wake) : m_pool(sparePages), m_wake(wake)
    {
        m_threads.emplace_back([this] { work(); });
        try {
            while (m_threads.size() < count)
                m_threads.emplace_back([this] { work(); });
        } catch (const std::system_error &) {
            // Fewer do as well.
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

    /// Whether this task has waited for too long because all threads are held up by others.
    bool keepsWaiting(const Task &task)
    {
        const std::lock_guard lock(m_mutex);
        return Deadline::Clock::now() - std::max(task.arrival, m_lastBegun) > longestStandstill;
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

    QByteArray resultOf(Task &task)
    {
        try {
            return frameBytes(FrameKind::Pdf, finishPdf(printedOf(task), task.order.job));
        } catch (const Failure &failure) {
            return frameBytes(FrameKind::Failure, failureBody(failure));
        } catch (const std::exception &error) {
            return frameBytes(FrameKind::Failure,
                              failureBody(Failure(ExitCode::Crashed, QString::fromUtf8(error.what()))));
        }
    }

    static Failure cancelled() { return {ExitCode::OutOfTime, QStringLiteral("cancelled")}; }

    QByteArray printedOf(Task &task)
    {
        if (!task.enter(nullptr))
            throw cancelled();
        const std::shared_ptr<KeptBrowser> browser = m_pool.browserFor(launchFlagsFor(task.order.job));
        const WatchedJob watched(browser->memory());
        try {
            return printedBy(*browser, task);
        } catch (const Failure &failure) {
            if (failure.code() == ExitCode::OutOfTime)
                browser->distrust();
            throw watched.explained(failure, task.order.address.shown);
        }
    }

    static QByteArray printedBy(KeptBrowser &browser, Task &task)
    {
        std::unique_ptr<Page> page;
        // Whatever comes of it, the page is not cancelled after its end.
        struct Leave {
            Task &task;
            KeptBrowser &browser;
            std::unique_ptr<Page> done;

            ~Leave()
            {
                task.enter(nullptr);
                browser.noteJob(std::move(done));
            }
        } leave{task, browser, nullptr};
        page = browser.takePage(task.order.job.proxy, task.order.deadline);
        if (!task.enter(page.get()))
            throw cancelled();
        task.setActivity(QStringLiteral("loading %1").arg(task.order.address.shown));
        page->load(task.order);
        task.setActivity(QStringLiteral("printing %1").arg(task.order.address.shown));
        QByteArray printed = page->print(task.order.job);
        leave.done = std::move(page);
        return printed;
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
    explicit Client(Descriptor socket) : m_socket(std::move(socket))
    {
        ::fcntl(m_socket.get(), F_SETFL, O_NONBLOCK);
    }
    Client(const Client &) = delete;
    Client &operator=(const Client &) = delete;
    ~Client()
    {
        if (m_task)
            m_task->cancel();
    }

    /// Whether it is waited for in vain.
    bool isOverdue() const { return (!m_task || m_finished) && m_patience.passed(); }

    pollfd toPoll() const
    {
        return {m_socket.get(), static_cast<short>(m_outgoing.isEmpty() ? POLLIN : POLLIN | POLLOUT), 0};
    }

    /// Deals with what can be read; false when the connection is to be closed.
    bool read(Workers &workers)
    {
        char buffer[1 << 14];
        const ssize_t count = ::recv(m_socket.get(), buffer, sizeof(buffer), 0);
        if (count < 0)
            return errno == EAGAIN || errno == EINTR;
        // An engine says one thing only.
        if (count == 0 || m_task)
            return false;
        m_incoming.append(buffer, count);
        const std::optional<Frame> frame = takeFrame(m_incoming, largestOrder);
        if (!frame)
            return true;
        if (frame->kind != FrameKind::Order)
            return false;
        m_task = std::make_shared<Task>(orderFrom(frame->body));
        workers.add(m_task);
        return true;
    }

    void takeResult()
    {
        if (m_task && m_task->done && !m_finished)
            finish(m_task->result);
    }

    /// Refuses what cannot be begun, and says that the rest is still being worked on.
    void giveSignOfLife(Workers &workers)
    {
        if (m_task && !m_finished && workers.keepsWaiting(*m_task) && workers.withdraw(m_task))
            finish(frameBytes(FrameKind::Refusal));
        // One that is not read need not be followed by another.
        if (m_outgoing.isEmpty())
            m_outgoing = frameBytes(FrameKind::Alive, m_task ? m_task->activity() : QByteArray());
    }

    /// Sends what can be sent; false when the connection is to be closed.
    bool write()
    {
        if (m_outgoing.isEmpty())
            return true;
        const ssize_t count = ::send(m_socket.get(), m_outgoing.constData() + m_sent,
                                     static_cast<size_t>(m_outgoing.size() - m_sent), MSG_NOSIGNAL);
        if (count < 0)
            return errno == EAGAIN || errno == EINTR;
        m_sent += count;
        if (m_sent < m_outgoing.size())
            return true;
        m_outgoing.clear();
        m_sent = 0;
        return !m_finished;
    }

private:
    void finish(const QByteArray &frame)
    {
        m_outgoing += frame;
        m_finished = true;
        m_patience = Deadline::in(takingTime);
    }

    Descriptor m_socket;
    Deadline m_patience = Deadline::in(orderingTime);
    QByteArray m_incoming;
    QByteArray m_outgoing;
    qsizetype m_sent = 0;
    std::shared_ptr<Task> m_task;
    bool m_finished = false;
};

/// Whether the connection goes on.
bool serve(Client &client, short events, Workers &workers)
{
    try {
        if ((events & (POLLIN | POLLHUP | POLLERR)) != 0 && !client.read(workers))
            return false;
        client.takeResult();
        return client.write() && !client.isOverdue();
    } catch (const std::exception &) {
        // It says what no engine says, or there is no memory for it.
        return false;
    }
}

/// Takes in who is waiting to be.
void acceptAll(int listening, std::list<Client> &clients)
{
    while (Descriptor socket{::accept(listening, nullptr, nullptr)}) {
        ::fcntl(socket.get(), F_SETFD, FD_CLOEXEC);
        if (clients.size() < mostClients && peerIsSameUser(socket.get()))
            clients.emplace_back(std::move(socket));
    }
    // Out of descriptors: who is waiting will still be waiting in a moment.
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
Pipe wakeEnds;
std::atomic<bool> stopping = false;

void stop(int)
{
    // What the signal interrupts may be about to look at it.
    const int error = errno;
    stopping = true;
    [[maybe_unused]] const ssize_t written = ::write(wakeEnds.writeEnd.get(), "", 1);
    errno = error;
}

void drain(int descriptor)
{
    char bytes[64];
    while (::read(descriptor, bytes, sizeof(bytes)) > 0) {
    }
}

/// Takes orders and sends results until there has been nothing to do for so long.
void serveAll(int listening, Workers &workers, std::chrono::seconds idle, std::list<Client> &clients)
{
    Deadline idleEnd = Deadline::in(idle);
    Deadline nextSign = Deadline::in(betweenSignsOfLife);
    while (!stopping && (!clients.empty() || !idleEnd.passed())) {
        std::vector<pollfd> sources{{listening, POLLIN, 0}, {wakeEnds.readEnd.get(), POLLIN, 0}};
        for (const Client &client : clients)
            sources.push_back(client.toPoll());
        const auto until = clients.empty() ? idleEnd : nextSign;
        const auto wait = std::chrono::ceil<std::chrono::milliseconds>(until.time() - Deadline::Clock::now());
        ::poll(sources.data(), sources.size(),
               static_cast<int>(std::clamp(wait, std::chrono::milliseconds(0), longestSleep).count()));

        drain(wakeEnds.readEnd.get());
        const bool signDue = nextSign.passed();
        if (signDue)
            nextSign = Deadline::in(betweenSignsOfLife);
        auto source = sources.cbegin() + 2;
        for (auto client = clients.begin(); client != clients.end(); ++source) {
            if (signDue)
                client->giveSignOfLife(workers);
            client = serve(*client, source->revents, workers) ? std::next(client) : clients.erase(client);
        }
        if (sources[0].revents != 0)
            acceptAll(listening, clients);
        if (!clients.empty())
            idleEnd = Deadline::in(idle);
    }
}

} // namespace

int runServer(int listening, const std::string &executable, int idleSeconds)
{
    Descriptor held(listening);
    const std::optional<Endpoint> endpoint = findEndpoint(executable);
    if (!endpoint || !isBoundTo(listening, endpoint->socket))
        return 1;
    std::optional<Pipe> wake = makePipe();
    if (!wake) {
        removeEndpoint(*endpoint, serverLock);
        return 1;
    }
    wakeEnds = std::move(*wake);
    for (const int descriptor : {listening, serverLock})
        ::fcntl(descriptor, F_SETFD, FD_CLOEXEC);
    for (const int descriptor : {listening, wakeEnds.readEnd.get(), wakeEnds.writeEnd.get()})
        ::fcntl(descriptor, F_SETFL, O_NONBLOCK);
    std::signal(SIGTERM, stop);
    // It has been held up since before this program began.
    sigset_t none;
    ::sigemptyset(&none);
    ::sigprocmask(SIG_SETMASK, &none, nullptr);
#ifdef __linux__
    // What lists of processes call it, besides what its arguments say.
    ::prctl(PR_SET_NAME, serverName);
#endif
#ifdef __GLIBC__
    // Many short-lived large buffers in many threads: few arenas, and what is free goes back.
    ::mallopt(M_ARENA_MAX, 2);
    ::mallopt(M_TRIM_THRESHOLD, 4 << 20);
#endif
    std::optional<Workers> started;
    try {
        started.emplace(std::max(std::thread::hardware_concurrency(), 1U), wakeEnds.writeEnd.get());
    } catch (const std::system_error &) {
        // There are no threads to be had.
        removeEndpoint(*endpoint, serverLock);
        return 1;
    }
    Workers &workers = *started;
    std::list<Client> clients;
    serveAll(listening, workers, std::chrono::seconds(idleSeconds), clients);
    // From here on the next engine starts a server anew; who has come in the meantime is still served.
    removeEndpoint(*endpoint, serverLock);
    acceptAll(listening, clients);
    held.reset();
    serveAll(-1, workers, {}, clients);
    return 0;
}
