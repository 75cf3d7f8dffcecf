#pragma once

#include <QDBusConnection>
#include <QDBusObjectPath>
#include <QList>
#include <QRect>
#include <QString>
#include <QVariant>

#include <functional>
#include <optional>

/// A control on the screen as assistive programs see it over the accessibility bus (AT-SPI). Reads a window
/// without linking its code. All members of a null object return empty values.
class Accessible
{
public:
    Accessible() = default;
    Accessible(QDBusConnection bus, QString service, QString path);

    bool isNull() const { return m_path.isEmpty(); }

    QString name() const;
    /// The role's name, such as "push button", "text", "check box", "table cell".
    QString role() const;
    /// The names of what is beside this control to say what it is, as the label of an entry.
    QStringList labels() const;
    QList<Accessible> children() const;
    /// The first control below this one, or this itself, with that role, and with that name unless it is
    /// null.
    Accessible find(const QString &role, const QString &name = QString()) const;
    QList<Accessible> findAll(const QString &role) const;

    /// Whether the keyboard gets there.
    bool isFocusable() const { return hasState(11); }
    bool isShowing() const { return hasState(25); }
    bool isChecked() const { return hasState(4); }
    bool isEnabled() const { return hasState(8); }
    bool isFocused() const { return hasState(12); }
    bool isSelected() const { return hasState(23); }
    /// Of a dialog's buttons, the one that Return presses.
    bool isDefault() const { return hasState(39); }

    /// Place on the screen.
    QRect extents() const;

    // Tables.
    int rowCount() const;
    int columnCount() const;
    Accessible cell(int row, int column) const;

    // Texts, and controls with a number.
    QString text() const;
    double value() const;
    double maximum() const;

private:
    friend class AccessibilityBus;

    std::optional<QVariantList> call(const char *interface, const char *method,
                                     const QVariantList &arguments = {}) const;
    QVariant property(const char *interface, const char *name) const;
    /// By the numbers of AtspiStateType.
    bool hasState(uint state) const;

    std::optional<QDBusConnection> m_bus;
    QString m_service;
    QString m_path;
};

/// The way to it, from the address of the session bus.
class AccessibilityBus
{
public:
    /// Whether the bus is there.
    bool connectTo(const QString &sessionBusAddress);
    /// The root of a program's windows; null while the program is not on the bus.
    Accessible application(qint64 processId) const;

private:
    std::optional<QDBusConnection> m_bus;
};
