#include "engine/devtools/connection.h"
#include "engine/devtools/session.h"
#include "engine/page/pageevents.h"
#include "tests/fuzz/fuzz.h"

#include <QJsonDocument>

#include <algorithm>
#include <array>
#include <fcntl.h>
#include <unistd.h>

// An input is what the browser writes into the pipe until it ends, in pieces cut by the input's own bytes. A
// byte 1 stands for 32 KB of base64: replies that long are read in a way of their own.

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

namespace
{

constexpr char longData = '\1';
constexpr int mostLongData = 3;
const QString sessionId = u"S"_s;

class TestPipe
{
public:
    TestPipe() { require(::pipe2(m_ends.data(), O_CLOEXEC) == 0, "there is a pipe"); }
    TestPipe(const TestPipe &) = delete;
    TestPipe &operator=(const TestPipe &) = delete;
    ~TestPipe()
    {
        ::close(m_ends[0]);
        closeWriter();
    }

    int reader() const { return m_ends[0]; }
    int writer() const { return m_ends[1]; }

    void write(const QByteArray &bytes) const
    {
        require(::write(m_ends[1], bytes.constData(), static_cast<size_t>(bytes.size())) == bytes.size(),
                "a pipe takes what it is given");
    }
    void closeWriter()
    {
        if (m_ends[1] >= 0)
            ::close(std::exchange(m_ends[1], -1));
    }

private:
    std::array<int, 2> m_ends{};
};

QByteArray spelledOut(const QByteArray &input)
{
    static const QByteArray base64 = QByteArray("QUJD").repeated(8192);
    QByteArray bytes;
    int used = 0;
    for (const char byte : input) {
        if (byte != longData)
            bytes += byte;
        else if (used++ < mostLongData)
            bytes += base64;
    }
    return bytes;
}

void writeInPieces(const TestPipe &pipe, const QByteArray &bytes)
{
    for (qsizetype at = 0; at < bytes.size();) {
        const qsizetype size = 1 + static_cast<unsigned char>(bytes[at]) * (at % 3 == 0 ? 1 : 300);
        pipe.write(bytes.mid(at, size));
        at += size;
    }
}

QList<QJsonObject> messagesIn(const QByteArray &bytes)
{
    QList<QByteArray> texts = bytes.split('\0');
    // What has no end has not come.
    texts.removeLast();
    QList<QJsonObject> messages;
    for (const QByteArray &text : std::as_const(texts))
        messages += QJsonDocument::fromJson(text).object();
    return messages;
}

/// What the mailbox holds once the browser has ended.
QList<Message> contentOf(Mailbox &mailbox)
{
    QList<Message> messages;
    while (const std::optional<Message> message = mailbox.take(Deadline::in(30s)))
        messages += *message;
    require(mailbox.closed(), "a mailbox is closed at the browser's end");
    return messages;
}

/// Listens to a page until the browser ends, which is always told by a failure.
void listen(Connection &connection)
{
    try {
        Session session(connection, sessionId, Deadline::in(30s));
        PageEvents events(session, u"F"_s, u"C"_s);
        const int asked = session.begin(u"Page.getFrameTree"_s);
        session.ask(u"Runtime.enable"_s);
        session.replyTo(asked, Deadline::in(30s));
        session.askUrgently(u"Page.printToPDF"_s, {}, 10s, [] {});
        session.waitUntil([] { return false; }, Deadline::in(30s));
        require(false, "no wait goes on after the browser's end");
    } catch (const Failure &failure) {
        require(failure.code() != ExitCode::OutOfTime, "the browser's end is not waited for");
    }
}

void checkReply(const Message &reply, QJsonObject expected)
{
    QJsonObject result = expected.value("result"_L1).toObject();
    // No browser has data elsewhere.
    if (!reply.data.isEmpty() && !result.value("data"_L1).isString())
        return;
    if (!reply.data.isEmpty()) {
        require(QByteArray::fromBase64(result.value("data"_L1).toString().toLatin1()) == reply.data,
                "data arrive as they were sent");
        result["data"_L1] = QString();
        expected["result"_L1] = result;
    }
    require(reply == expected, "a reply arrives as it was sent");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    const QByteArray bytes = spelledOut(inputBytes(data, size));
    const QList<QJsonObject> sent = messagesIn(bytes);

    const TestPipe commands;
    TestPipe replies;
    TestPipe errors;
    Connection connection(commands.writer(), replies.reader(), errors.reader());
    const auto observer = std::make_shared<Mailbox>();
    connection.attach(sessionId, observer);
    const auto asker = std::make_shared<Mailbox>();
    const int asked = connection.send({}, u"IO.read"_s, {}, Deadline::in(30s), asker);
    errors.write(bytes.left(100));
    std::thread browser([&] {
        writeInPieces(replies, bytes);
        replies.closeWriter();
    });
    listen(connection);
    const QList<Message> events = contentOf(*observer);
    browser.join();

    QList<QJsonObject> expected = sent;
    expected.removeIf([](const QJsonObject &message) {
        return message.contains("id"_L1) || message["sessionId"_L1].toString() != sessionId;
    });
    require(std::equal(events.begin(), events.end(), expected.begin(), expected.end()),
            "the events of a session arrive, in their order");
    const auto reply = std::find_if(sent.begin(), sent.end(), [&](const QJsonObject &message) {
        return message.contains("id"_L1) && message["id"_L1].toInt() == asked;
    });
    if (const std::optional<Message> arrived = asker->take(Deadline::in(0ms)))
        checkReply(*arrived, reply != sent.end() ? *reply : QJsonObject());
    else
        require(reply == sent.end(), "a reply arrives");
    return 0;
}
