#include "engine/server/message.h"

#include <QCborMap>

#include <algorithm>
#include <cstring>
#include <stdexcept>
#include <string_view>

using namespace Qt::StringLiterals;

namespace
{

constexpr qsizetype headerSize = sizeof(quint32) + 1;

constexpr std::chrono::milliseconds longestTime = std::chrono::hours(24 * 365);

[[noreturn]] void refuse()
{
    throw std::runtime_error("not a message of the server");
}

QCborMap mapIn(const QByteArray &body)
{
    QCborParserError error;
    const QCborValue value = QCborValue::fromCbor(body, &error);
    if (error.error != QCborError::NoError || !value.isMap())
        refuse();
    return value.toMap();
}

qint64 numberIn(const QCborMap &map, const QString &name, qint64 least, qint64 most)
{
    const QCborValue number = map[name];
    // A number with a point may be too large for any integer.
    if (!number.isInteger() || number.toInteger() < least || number.toInteger() > most)
        refuse();
    return number.toInteger();
}

} // namespace

QByteArray frameHeader(FrameKind kind, qsizetype size)
{
    const auto length = static_cast<quint32>(size);
    QByteArray bytes(reinterpret_cast<const char *>(&length), sizeof(length));
    bytes.append(static_cast<char>(kind));
    return bytes;
}

QByteArray frameBytes(FrameKind kind, const QByteArray &body)
{
    return frameHeader(kind, body.size()) + body;
}

std::optional<Frame> takeFrame(QByteArray &bytes, qsizetype limit)
{
    if (bytes.size() < headerSize)
        return std::nullopt;
    quint32 size = 0;
    memcpy(&size, bytes.constData(), sizeof(size));
    const auto kind = static_cast<FrameKind>(bytes.at(sizeof(size)));
    if (std::string_view("oanfp").find(static_cast<char>(kind)) == std::string_view::npos ||
        static_cast<qsizetype>(size) > limit)
        refuse();
    if (bytes.size() < headerSize + static_cast<qsizetype>(size))
        return std::nullopt;
    Frame frame{kind, bytes.mid(headerSize, size)};
    bytes.remove(0, headerSize + static_cast<qsizetype>(size));
    return frame;
}

QByteArray orderBody(const Invocation &invocation)
{
    const auto passed =
        std::chrono::duration_cast<std::chrono::milliseconds>(Deadline::Clock::now() - invocation.begun);
    QByteArray body = QByteArray::number(static_cast<qint64>(passed.count())) + '\0';
    const auto append = [&body](const std::string &text) { body.append(text.c_str(), text.size() + 1); };
    append(invocation.folder);
    std::ranges::for_each(invocation.arguments, append);
    return body;
}

Invocation invocationFrom(const QByteArray &body)
{
    if (!body.endsWith('\0'))
        refuse();
    const QByteArrayList texts = body.chopped(1).split('\0');
    bool isNumber = false;
    const qint64 passed = texts[0].toLongLong(&isNumber);
    if (texts.size() < 2 || !isNumber || passed < 0 || passed > longestTime.count())
        refuse();
    Invocation invocation;
    invocation.begun = Deadline::Clock::now() - std::chrono::milliseconds(passed);
    invocation.folder = texts[1].toStdString();
    for (qsizetype i = 2; i < texts.size(); ++i)
        invocation.arguments.push_back(texts[i].toStdString());
    return invocation;
}

QByteArray failureBody(const Failure &failure)
{
    return QCborValue(QCborMap{{u"code"_s, static_cast<int>(failure.code())},
                               {u"message"_s, failure.message()},
                               {u"final"_s, failure.isFinal()}})
        .toCbor();
}

Failure failureFrom(const QByteArray &body)
{
    const QCborMap map = mapIn(body);
    const qint64 code = numberIn(map, u"code"_s, static_cast<int>(ExitCode::BadArguments),
                                 static_cast<int>(ExitCode::Crashed));
    return {static_cast<ExitCode>(code), map[u"message"_s].toString(),
            map[u"final"_s].toBool() ? Failure::Retry::IsInVain : Failure::Retry::MayHelp};
}
