#include "engine/server/message.h"

#include <QCborArray>
#include <QCborMap>

#include <cstring>
#include <stdexcept>
#include <string_view>

using namespace Qt::StringLiterals;

namespace
{

constexpr qsizetype headerSize = sizeof(quint32) + 1;

// No engine orders more.
constexpr qint64 mostCopies = 1000;
constexpr qint64 largestFont = 1000;   // points
constexpr double longestSide = 1e5;    // points
constexpr qint64 mostMemory = 1 << 20; // MiB
constexpr qint64 largestOutput = 4095; // MiB
static_assert(largestOutput << 20 <= maximumBody);
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

QCborValue sizeValue(const std::optional<QSizeF> &size)
{
    return size ? QCborValue(QCborArray{size->width(), size->height()}) : QCborValue();
}

std::optional<QSizeF> sizeFrom(const QCborValue &value)
{
    if (!value.isArray())
        return std::nullopt;
    const QSizeF size(value.toArray().at(0).toDouble(), value.toArray().at(1).toDouble());
    if (!(size.width() > 0 && size.height() > 0 && size.width() < longestSide && size.height() < longestSide))
        refuse();
    return size;
}

QCborMap jobMap(const Job &job)
{
    QCborMap map{
        {u"paper"_s, sizeValue(job.paper)},
        {u"copies"_s, job.copies},
        {u"minimumFontSize"_s, job.minimumFontSize},
        {u"userName"_s, job.userName},
        {u"password"_s, job.password},
        {u"blockPrivateAddresses"_s, job.blockPrivateAddresses},
        {u"externalLinks"_s, job.externalLinks},
        {u"grayscale"_s, job.grayscale},
        {u"javaScript"_s, job.javaScript},
        {u"images"_s, job.images},
        {u"background"_s, job.background},
        {u"lowQuality"_s, job.lowQuality},
        {u"maximumMemory"_s, job.maximumMemory},
        {u"maximumOutput"_s, job.maximumOutput},
    };
    if (job.orientation)
        map.insert(u"landscape"_s, *job.orientation == PaperOrientation::Landscape);
    if (job.title)
        map.insert(u"title"_s, *job.title);
    if (job.proxy)
        map.insert(u"proxy"_s, QCborArray{job.proxy->server, job.proxy->userName, job.proxy->password});
    return map;
}

Job jobFrom(const QCborMap &map)
{
    Job job;
    job.paper = sizeFrom(map[u"paper"_s]);
    job.copies = static_cast<int>(numberIn(map, u"copies"_s, 1, mostCopies));
    job.minimumFontSize = static_cast<int>(numberIn(map, u"minimumFontSize"_s, 0, largestFont));
    job.userName = map[u"userName"_s].toString();
    job.password = map[u"password"_s].toString();
    job.blockPrivateAddresses = map[u"blockPrivateAddresses"_s].toBool();
    job.externalLinks = map[u"externalLinks"_s].toBool();
    job.grayscale = map[u"grayscale"_s].toBool();
    job.javaScript = map[u"javaScript"_s].toBool();
    job.images = map[u"images"_s].toBool();
    job.background = map[u"background"_s].toBool();
    job.lowQuality = map[u"lowQuality"_s].toBool();
    job.maximumMemory = static_cast<int>(numberIn(map, u"maximumMemory"_s, 1, mostMemory));
    job.maximumOutput = static_cast<int>(numberIn(map, u"maximumOutput"_s, 1, largestOutput));
    if (const QCborValue landscape = map[u"landscape"_s]; landscape.isBool())
        job.orientation = landscape.toBool() ? PaperOrientation::Landscape : PaperOrientation::Portrait;
    if (const QCborValue title = map[u"title"_s]; title.isString())
        job.title = title.toString();
    if (const QCborArray proxy = map[u"proxy"_s].toArray(); !proxy.isEmpty())
        job.proxy = Proxy{proxy.at(0).toString(), proxy.at(1).toString(), proxy.at(2).toString()};
    return job;
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

QByteArray orderBody(const Order &order)
{
    const auto left =
        std::chrono::duration_cast<std::chrono::milliseconds>(order.deadline.time() - Deadline::Clock::now());
    return QCborValue(QCborMap{{u"url"_s, order.address.url},
                               {u"shown"_s, order.address.shown},
                               {u"isFile"_s, order.address.isFile},
                               {u"addressUserName"_s, order.address.userName},
                               {u"addressPassword"_s, order.address.password},
                               {u"milliseconds"_s, static_cast<qint64>(left.count())},
                               {u"job"_s, jobMap(order.job)}})
        .toCbor();
}

Order orderFrom(const QByteArray &body)
{
    const QCborMap map = mapIn(body);
    const Address address{map[u"url"_s].toString(), map[u"shown"_s].toString(), map[u"isFile"_s].toBool(),
                          map[u"addressUserName"_s].toString(), map[u"addressPassword"_s].toString()};
    const std::chrono::milliseconds left(numberIn(map, u"milliseconds"_s, 0, longestTime.count()));
    return {jobFrom(map[u"job"_s].toMap()), address, Deadline::in(left)};
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
