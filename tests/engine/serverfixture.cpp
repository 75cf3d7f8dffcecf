#include "tests/engine/serverfixture.h"

#include "tests/support/invocation.h"
#include "tests/support/waiting.h"

#include <QFile>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTest>

#include <sys/socket.h>

#include <algorithm>
#include <poll.h>
#include <unistd.h>

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

namespace
{

constexpr int idleSeconds = 30;

} // namespace

QByteArray bytesOf(FrameKind kind, std::string_view body)
{
    return QByteArray::fromStdString(frameBytes(kind, body));
}

sockaddr_un socketAddress(const QString &path)
{
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    const QByteArray name = QFile::encodeName(path);
    std::copy_n(name.constData(), std::min<size_t>(size_t(name.size()), sizeof(address.sun_path) - 1),
                address.sun_path);
    return address;
}

RawClient::RawClient(const QString &path) : m_socket(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0))
{
    const sockaddr_un address = socketAddress(path);
    m_connected = ::connect(m_socket, reinterpret_cast<const sockaddr *>(&address), sizeof(address)) == 0;
}

RawClient::~RawClient()
{
    ::close(m_socket);
}

void RawClient::send(const QByteArray &bytes) const
{
    // If the peer has closed the connection, the next read shows it.
    [[maybe_unused]] const ssize_t sent =
        ::send(m_socket, bytes.constData(), static_cast<size_t>(bytes.size()), MSG_NOSIGNAL);
}

void RawClient::order(const QString &url) const
{
    send(bytesOf(FrameKind::Order, orderBody(invocationOf({url, QStringLiteral("out.pdf")}))));
}

bool RawClient::awaitEnd(std::chrono::milliseconds bound)
{
    const Deadline end = Deadline::in(bound);
    while (!end.passed()) {
        pollfd source{m_socket, POLLIN, 0};
        if (::poll(&source, 1, 50) <= 0)
            continue;
        char buffer[4096];
        const ssize_t count = ::recv(m_socket, buffer, sizeof(buffer), 0);
        if (count <= 0)
            return true;
        m_received.append(buffer, count);
    }
    return false;
}

void ServerFixture::init()
{
    m_engine = std::make_unique<Engine>();
    m_engine->setIdleSeconds(idleSeconds);
}

void ServerFixture::cleanup()
{
    QCOMPARE(m_engine->leftBehind(), QString());
}

ProcessInfo ServerFixture::warmUp()
{
    const Conversion conversion = m_engine->convertText("<p>x");
    if (!conversion.flaw().isEmpty())
        qWarning("%s", conversion.flaw().constData());
    const QList<ProcessInfo> servers = m_engine->servers();
    return servers.size() == 1 ? servers[0] : ProcessInfo();
}

QString ServerFixture::socketPath() const
{
    const QDir folder(m_engine->runtimeFolder() + u"/quirelle"_s);
    return folder.filePath(folder.entryList({u"*.socket"_s}, everything).value(0));
}

void ServerFixture::verifyStillConverts()
{
    // What the job itself takes depends on what else the machine does. The rest is a search for a server that
    // takes it: a fraction of a second, or half a minute for one that waits for an answer that never comes.
    constexpr auto bound = 10.;
    const QString report = m_engine->makeFolder(u"report"_s) + u"/still.json"_s;
    const Conversion conversion = m_engine->convertText("<p>still", {u"--report"_s, report});
    VERIFY_WRITTEN(conversion);
    QCOMPARE(conversion.pdf().text(), u"still"_s);
    const QByteArray told = contentOf(report);
    double rest = std::chrono::duration<double>(conversion.run.time).count();
    const QJsonObject steps = QJsonDocument::fromJson(told).object()[u"seconds"_s].toObject();
    QVERIFY2(!steps.isEmpty(), told.constData());
    for (const QJsonValue &step : steps)
        rest -= step.toDouble();
    QVERIFY2(rest < bound, qPrintable(u"%1 s of %2"_s.arg(rest).arg(QString::fromUtf8(told))));
}
