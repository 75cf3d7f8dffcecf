#include "tests/window/accessible.h"

#include <QDBusArgument>
#include <QDBusConnectionInterface>
#include <QDBusMessage>
#include <QDBusMetaType>
#include <QDBusVariant>

using namespace Qt::StringLiterals;

namespace
{

constexpr int patience = 10'000; // milliseconds for an answer
constexpr char accessibleInterface[] = "org.a11y.atspi.Accessible";
constexpr char tableInterface[] = "org.a11y.atspi.Table";
constexpr char textInterface[] = "org.a11y.atspi.Text";
constexpr char valueInterface[] = "org.a11y.atspi.Value";

/// How AT-SPI names an object: "(so)".
struct Reference {
    QString service;
    QDBusObjectPath path;
};

const QDBusArgument &operator>>(const QDBusArgument &argument, Reference &reference)
{
    argument.beginStructure();
    argument >> reference.service >> reference.path;
    argument.endStructure();
    return argument;
}

bool isNowhere(const Reference &reference)
{
    return reference.path.path().isEmpty() || reference.path.path() == "/org/a11y/atspi/null"_L1;
}

} // namespace

Accessible::Accessible(QDBusConnection bus, QString service, QString path)
    : m_bus(std::move(bus)), m_service(std::move(service)), m_path(std::move(path))
{
}

std::optional<QVariantList> Accessible::call(const char *interface, const char *method,
                                             const QVariantList &arguments) const
{
    if (isNull())
        return std::nullopt;
    QDBusMessage message = QDBusMessage::createMethodCall(m_service, m_path, QString::fromLatin1(interface),
                                                          QString::fromLatin1(method));
    message.setArguments(arguments);
    const QDBusMessage answer = m_bus->call(message, QDBus::Block, patience);
    if (answer.type() != QDBusMessage::ReplyMessage || answer.arguments().isEmpty())
        return std::nullopt;
    return answer.arguments();
}

QVariant Accessible::property(const char *interface, const char *name) const
{
    const auto answer = call("org.freedesktop.DBus.Properties", "Get",
                             {QString::fromLatin1(interface), QString::fromLatin1(name)});
    return answer ? answer->constFirst().value<QDBusVariant>().variant() : QVariant();
}

QString Accessible::name() const
{
    return property(accessibleInterface, "Name").toString();
}

QString Accessible::role() const
{
    const auto answer = call(accessibleInterface, "GetRoleName");
    return answer ? answer->constFirst().toString() : QString();
}

QStringList Accessible::labels() const
{
    constexpr uint labelledBy = 2; // of AtspiRelationType
    QStringList found;
    const auto answer = call(accessibleInterface, "GetRelationSet");
    if (!answer)
        return found;
    const auto relations = answer->constFirst().value<QDBusArgument>();
    relations.beginArray();
    while (!relations.atEnd()) {
        uint type = 0;
        relations.beginStructure();
        relations >> type;
        relations.beginArray();
        while (!relations.atEnd()) {
            Reference reference;
            relations >> reference;
            if (type == labelledBy)
                found << Accessible(*m_bus, reference.service, reference.path.path()).name();
        }
        relations.endArray();
        relations.endStructure();
    }
    relations.endArray();
    return found;
}

QList<Accessible> Accessible::children() const
{
    QList<Accessible> found;
    const auto answer = call(accessibleInterface, "GetChildren");
    if (!answer)
        return found;
    const auto list = answer->constFirst().value<QDBusArgument>();
    list.beginArray();
    while (!list.atEnd()) {
        Reference reference;
        list >> reference;
        if (!isNowhere(reference))
            found << Accessible(*m_bus, reference.service, reference.path.path());
    }
    list.endArray();
    return found;
}

Accessible Accessible::find(const QString &wantedRole, const QString &wantedName) const
{
    const QString ownRole = role();
    if (ownRole == wantedRole && (wantedName.isNull() || name() == wantedName))
        return *this;
    // A table's cells are as many as its list is long, and none is looked for this way.
    if (ownRole == "table"_L1)
        return {};
    const QList<Accessible> below = children();
    for (const Accessible &child : below) {
        Accessible found = child.find(wantedRole, wantedName);
        if (!found.isNull())
            return found;
    }
    return {};
}

QList<Accessible> Accessible::findAll(const QString &wantedRole) const
{
    QList<Accessible> found;
    const QString ownRole = role();
    if (ownRole == wantedRole)
        found << *this;
    if (ownRole == "table"_L1)
        return found;
    const QList<Accessible> below = children();
    for (const Accessible &child : below)
        found << child.findAll(wantedRole);
    return found;
}

bool Accessible::hasState(uint state) const
{
    const auto answer = call(accessibleInterface, "GetState");
    if (!answer)
        return false;
    const auto words = qdbus_cast<QList<uint>>(answer->constFirst());
    return qsizetype(state / 32) < words.size() && (words.at(state / 32) >> (state % 32) & 1U);
}

QRect Accessible::extents() const
{
    const auto answer = call("org.a11y.atspi.Component", "GetExtents", {0U});
    if (!answer)
        return {};
    const auto shape = answer->constFirst().value<QDBusArgument>();
    int x = 0;
    int y = 0;
    int width = 0;
    int height = 0;
    shape.beginStructure();
    shape >> x >> y >> width >> height;
    shape.endStructure();
    return {x, y, width, height};
}

int Accessible::rowCount() const
{
    return property(tableInterface, "NRows").toInt();
}

int Accessible::columnCount() const
{
    return property(tableInterface, "NColumns").toInt();
}

Accessible Accessible::cell(int row, int column) const
{
    const auto answer = call(tableInterface, "GetAccessibleAt", {row, column});
    if (!answer)
        return {};
    Reference reference;
    answer->constFirst().value<QDBusArgument>() >> reference;
    return isNowhere(reference) ? Accessible() : Accessible(*m_bus, reference.service, reference.path.path());
}

QString Accessible::text() const
{
    const auto answer = call(textInterface, "GetText", {0, -1});
    return answer ? answer->constFirst().toString() : QString();
}

double Accessible::value() const
{
    return property(valueInterface, "CurrentValue").toDouble();
}

double Accessible::maximum() const
{
    return property(valueInterface, "MaximumValue").toDouble();
}

bool AccessibilityBus::connectTo(const QString &sessionBusAddress)
{
    const QDBusConnection session = QDBusConnection::connectToBus(sessionBusAddress, u"session"_s);
    const QDBusMessage answer =
        session.call(QDBusMessage::createMethodCall(u"org.a11y.Bus"_s, u"/org/a11y/bus"_s, u"org.a11y.Bus"_s,
                                                    u"GetAddress"_s),
                     QDBus::Block, patience);
    if (answer.type() != QDBusMessage::ReplyMessage) {
        qWarning("no accessibility bus: %s", qPrintable(answer.errorMessage()));
        return false;
    }
    m_bus = QDBusConnection::connectToBus(answer.arguments().constFirst().toString(), u"accessibility"_s);
    return m_bus->isConnected();
}

Accessible AccessibilityBus::application(qint64 processId) const
{
    const Accessible registry(*m_bus, u"org.a11y.atspi.Registry"_s, u"/org/a11y/atspi/accessible/root"_s);
    const QList<Accessible> applications = registry.children();
    for (const Accessible &application : applications) {
        const QDBusReply<uint> owner = m_bus->interface()->servicePid(application.m_service);
        if (owner.isValid() && owner.value() == processId)
            return application;
    }
    return {};
}
