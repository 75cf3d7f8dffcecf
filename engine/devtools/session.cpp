#include "engine/devtools/session.h"

Session::Session(Connection &connection, const QString &id, Deadline deadline)
    : m_connection(connection), m_id(id), m_deadline(deadline), m_mailbox(std::make_shared<Mailbox>())
{
    m_connection.attach(m_id, m_mailbox);
}

Session::~Session()
{
    m_connection.detach(m_id, m_mailbox);
    m_connection.detach({}, m_mailbox);
    for (const QString &child : m_children.keys())
        m_connection.detach(child, m_mailbox);
}

Session::Reply Session::ask(const QString &method, const QJsonObject &parameters)
{
    return *ask(method, parameters, m_deadline);
}

std::optional<Session::Reply> Session::ask(const QString &method, const QJsonObject &parameters,
                                           Deadline bound, const QString &to)
{
    return replyTo(begin(method, parameters, to), bound);
}

int Session::begin(const QString &method, const QJsonObject &parameters, const QString &to)
{
    const int id = m_connection.send(to.isEmpty() ? m_id : to, method, parameters, m_deadline, m_mailbox);
    m_begun.insert(id, std::nullopt);
    return id;
}

std::optional<Session::Reply> Session::replyTo(int id, Deadline bound)
{
    waitUntil([&] { return hasReplied(id); }, bound);
    return m_begun.take(id);
}

std::optional<Session::Reply> Session::askUrgently(const QString &method, const QJsonObject &parameters,
                                                   std::chrono::milliseconds interval,
                                                   const std::function<void()> &nudge,
                                                   std::optional<Deadline> bound)
{
    const int id = begin(method, parameters);
    const Deadline end = bound.value_or(m_deadline);
    while (!waitUntil([&] { return hasReplied(id); }, Deadline::in(interval).earlier(end)) &&
           !(bound && bound->passed()))
        nudge();
    return m_begun.take(id);
}

Session::Reply Session::replyIn(const Message &message)
{
    return {message.value(QLatin1String("result")).toObject(), message.data,
            message.value(QLatin1String("error")).toObject().value(QLatin1String("message")).toString()};
}

QJsonObject Session::call(const QString &method, const QJsonObject &parameters)
{
    const Reply reply = ask(method, parameters);
    if (!reply.error.isEmpty())
        throw Failure(ExitCode::Crashed,
                      QStringLiteral("the browser refused %1: %2").arg(method, reply.error));
    return reply.result;
}

void Session::post(const QString &method, const QJsonObject &parameters, const QString &to)
{
    m_connection.send(to.isEmpty() ? m_id : to, method, parameters, m_deadline, nullptr);
}

Session::Handler Session::on(const QString &event, const Handler &handler)
{
    Handler before = m_handlers.take(event);
    if (handler)
        m_handlers.insert(event, handler);
    return before;
}

void Session::adopt(const QString &id, bool isFrame)
{
    // A mailbox attached twice gets every event twice.
    if (id == m_id || m_children.contains(id))
        return;
    m_children.insert(id, isFrame);
    m_connection.attach(id, m_mailbox);
}

void Session::release(const QString &id)
{
    // Only children: a session whose own id is detached is not told when the browser ends.
    if (m_children.remove(id))
        m_connection.detach(id, m_mailbox);
}

QStringList Session::family() const
{
    return QStringList{m_id} + m_children.keys(true);
}

void Session::hearBrowser()
{
    m_connection.attach({}, m_mailbox);
}

void Session::postToBrowser(const QString &method, const QJsonObject &parameters)
{
    m_connection.send({}, method, parameters, m_deadline, nullptr);
}

bool Session::waitUntil(const std::function<bool()> &condition, Deadline bound)
{
    while (!condition()) {
        if (!step(bound))
            return false;
    }
    return true;
}

void Session::cancel()
{
    m_mailbox->put({{}, {}, true});
}

void Session::fail(const Failure &failure)
{
    if (!m_failure)
        m_failure = failure;
}

bool Session::step(Deadline bound)
{
    // Checked before a message is taken, so that a constant flow of messages cannot extend the deadlines and
    // no message is lost when one passes.
    if (m_deadline.passed())
        throw Failure(ExitCode::OutOfTime, QStringLiteral("out of time while %1").arg(m_activity));
    if (bound.passed())
        return false;
    std::optional<Message> message = m_mailbox->take(bound.earlier(m_deadline));
    if (!message && m_mailbox->closed()) {
        if (m_connection.hasResponded())
            throw Failure(ExitCode::Crashed, QStringLiteral("the browser ended while %1").arg(m_activity));
        throw Failure(ExitCode::NoBrowser, QStringLiteral("the browser cannot start"));
    }
    if (!message)
        return m_deadline.passed() && step(bound);

    if (message->cancels)
        throw Cancelled();
    const QString event = message->value(QLatin1String("method")).toString();
    if (event.isEmpty()) {
        const auto place = m_begun.find(message->value(QLatin1String("id")).toInt());
        if (place != m_begun.end())
            place.value() = replyIn(*message);
        return true;
    }
    if (const auto handler = m_handlers.constFind(event); handler != m_handlers.constEnd())
        handler.value()(message->value(QLatin1String("params")).toObject(),
                        message->value(QLatin1String("sessionId")).toString());
    if (m_failure)
        throw Failure(*m_failure);
    return true;
}
