#include "tests/window/program.h"

#include <QFile>
#include <QHash>
#include <QTest>

#include <functional>
#include <memory>

using namespace Qt::StringLiterals;

namespace
{

const QString filesTitle = u"Select one or more files to open"_s;
const QString folderTitle = u"Open directory"_s;

/// What a user can do something with, or is told something by.
const QStringList controlRoles{u"push button"_s, u"check box"_s,  u"combo box"_s, u"text"_s,
                               u"table"_s,       u"tree"_s,       u"list"_s,      u"progress bar"_s,
                               u"slider"_s,      u"spin button"_s};

/// Calls back with every control below, but not with the cells of tables and the entries of lists.
void forEachControl(const Accessible &below, const std::function<void(const Accessible &)> &visit)
{
    const QString role = below.role();
    if (controlRoles.contains(role))
        visit(below);
    if (role == "table"_L1 || role == "tree"_L1 || role == "list"_L1)
        return;
    const QList<Accessible> children = below.children();
    for (const Accessible &child : children)
        forEachControl(child, visit);
}

/// A control's name for screen readers: its label's text, or its own name.
QString spokenName(const Accessible &control)
{
    const QStringList labels = control.labels();
    return labels.isEmpty() ? control.name() : labels.first();
}

} // namespace

class tst_Accessibility : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase()
    {
        m_desktop = std::make_unique<Desktop>();
        QVERIFY(m_desktop->start({1600, 1200}));
        QVERIFY(m_bus.connectTo(m_desktop->environment().value(u"DBUS_SESSION_BUS_ADDRESS"_s)));
        // A copy: the settings file lies in the bundle.
        QVERIFY(m_desktop->ask(u"cp"_s, {u"-a"_s, QStringLiteral(QUIRELLE_BUNDLE), m_desktop->folder()}));
        m_desktop->moveMouse({0, 0});
    }

    void init()
    {
        // One for all cases, until one fails and leaves a dialog open.
        if (m_program)
            return;
        m_program = std::make_unique<Program>(*m_desktop, m_bus, m_desktop->file(u"Quirelle.app"_s));
        QFile::remove(m_program->settingsFile());
        QVERIFY(m_program->start());
    }

    void cleanup()
    {
        if (QTest::currentTestFailed())
            m_program.reset();
    }

    void cleanupTestCase()
    {
        m_program.reset();
        m_desktop.reset();
    }

    void everyControlSaysWhatItIs_data()
    {
        QTest::addColumn<QRect>("button");
        QTest::addColumn<QString>("title");
        QTest::addColumn<QStringList>("names");
        QTest::newRow("main window") << QRect() << u"Quirelle"_s
                                     << QStringList{u"Add HTML files"_s,
                                                    u"Add web addresses"_s,
                                                    u"Remove the selected rows"_s,
                                                    u"Remove all rows"_s,
                                                    u"Settings"_s,
                                                    u"About Quirelle"_s,
                                                    u"Output Folder"_s,
                                                    u"Output folder"_s,
                                                    u"Start"_s,
                                                    u"Files and addresses to convert"_s,
                                                    u"Progress of the conversion"_s};
        QTest::newRow("settings") << Place::Settings << u"Setting"_s
                                  << QStringList{u"Paper Size:"_s,
                                                 u"Orientation:"_s,
                                                 u"Font Size:"_s,
                                                 u"Title:"_s,
                                                 u"HTTP Authentication Username:"_s,
                                                 u"HTTP Authentication Password:"_s,
                                                 u"Use a Proxy:"_s,
                                                 u"Forms of a proxy"_s,
                                                 u"No Hyperlink"_s,
                                                 u"No Image"_s,
                                                 u"Grayscale"_s,
                                                 u"Low Quality"_s,
                                                 u"Disable Javascript"_s,
                                                 u"No Background"_s,
                                                 u"Reset"_s,
                                                 u"Cancle"_s,
                                                 u"OK"_s};
        QTest::newRow("addresses") << Place::AddAddresses << u"Dialog"_s
                                   << QStringList{u"Web addresses"_s, u"Use File List"_s, u"Clear"_s, u"OK"_s,
                                                  u"Cancel"_s};
        QTest::newRow("about") << Place::About << u"About "_s
                               << QStringList{u"About the product"_s, u"Visit Our Homepage"_s};
        QTest::newRow("warning") << Place::Start << u"Warning"_s << QStringList{u"Yes"_s};
        QTest::newRow("files") << Place::AddFiles << filesTitle
                               << QStringList{u"File name:"_s, u"Open"_s, u"Cancel"_s};
        QTest::newRow("output folder")
            << Place::OutputFolder << folderTitle << QStringList{u"Directory:"_s, u"Choose"_s, u"Cancel"_s};
    }

    void everyControlSaysWhatItIs()
    {
        QFETCH(const QRect, button);
        QFETCH(const QString, title);
        QFETCH(const QStringList, names);
        if (!button.isNull())
            m_program->click(button);
        const auto window = m_program->dialog(title);
        QVERIFY(window);
        QStringList found;
        QStringList nameless;
        forEachControl(window->content, [&](const Accessible &control) {
            // Such as the list of a combo box that is not open.
            if (!control.isShowing())
                return;
            const QString name = spokenName(control);
            if (name.trimmed().isEmpty())
                nameless << control.role();
            found << name;
        });
        if (!button.isNull()) {
            m_desktop->pressKey(u"Escape"_s);
            QVERIFY(m_program->isGone(title));
        }
        QCOMPARE(nameless, QStringList());
        for (const QString &name : names)
            QVERIFY2(found.contains(name), qPrintable(name));
    }

    void tabFollowsTheEye_data()
    {
        QTest::addColumn<QRect>("button");
        QTest::addColumn<QString>("title");
        QTest::addColumn<QStringList>("order");
        QTest::newRow("main window")
            << QRect() << u"Quirelle"_s
            << QStringList{u"Add HTML files"_s,  u"Add web addresses"_s, u"Remove the selected rows"_s,
                           u"Remove all rows"_s, u"Settings"_s,          u"About Quirelle"_s,
                           u"Output Folder"_s,   u"Output folder"_s,     u"Start"_s};
        QTest::newRow("settings") << Place::Settings << u"Setting"_s
                                  << QStringList{u"Paper Size:"_s,
                                                 u"Orientation:"_s,
                                                 u"Font Size:"_s,
                                                 u"Title:"_s,
                                                 u"HTTP Authentication Username:"_s,
                                                 u"HTTP Authentication Password:"_s,
                                                 u"Use a Proxy:"_s,
                                                 u"No Hyperlink"_s,
                                                 u"Grayscale"_s,
                                                 u"Disable Javascript"_s,
                                                 u"No Image"_s,
                                                 u"Low Quality"_s,
                                                 u"No Background"_s,
                                                 u"Reset"_s,
                                                 u"Cancle"_s,
                                                 u"OK"_s};
        QTest::newRow("addresses") << Place::AddAddresses << u"Dialog"_s
                                   << QStringList{u"Web addresses"_s, u"Use File List"_s, u"Clear"_s, u"OK"_s,
                                                  u"Cancel"_s};
        QTest::newRow("about") << Place::About << u"About "_s << QStringList{u"Visit Our Homepage"_s};
    }

    void tabFollowsTheEye()
    {
        QFETCH(const QRect, button);
        QFETCH(const QString, title);
        QFETCH(const QStringList, order);
        if (!button.isNull())
            m_program->click(button);
        const auto window = m_program->dialog(title);
        QVERIFY(window);
        const QHash<QString, Accessible> byName = focusableControls(window->content);
        QList<Accessible> controls;
        for (const QString &name : order)
            controls << byName.value(name);
        // The main window keeps the keyboard where it was; dialogs open with it on their first control.
        if (button.isNull())
            QVERIFY(m_program->walkTo(controls.first(), window->content));
        QTRY_VERIFY_WITH_TIMEOUT(controls.first().isFocused(), patience);
        for (qsizetype step = 1; step <= controls.size(); ++step) {
            const qsizetype index = step % controls.size();
            const Accessible &next = controls.at(index);
            const QImage before = m_desktop->screenshot(next.extents());
            m_desktop->pressKey(u"Tab"_s);
            QTRY_VERIFY2_WITH_TIMEOUT(next.isFocused(), qPrintable(order.at(index)), patience);
            // It is marked, too. What marks an entry is its cursor, which blinks, and a default button is
            // marked all the time.
            if (next.role() != "text"_L1 && !next.isDefault())
                QTRY_VERIFY2_WITH_TIMEOUT(m_desktop->screenshot(next.extents()) != before,
                                          qPrintable(order.at(index)), patience);
        }
        m_desktop->pressKey(u"shift+Tab"_s);
        QTRY_VERIFY_WITH_TIMEOUT(controls.last().isFocused(), patience);
        if (!button.isNull()) {
            m_desktop->pressKey(u"Escape"_s);
            QVERIFY(m_program->isGone(title));
        }
    }

    void listsAreCalledAsTheirLabels()
    {
        m_program->click(Place::Settings);
        const auto window = m_program->dialog(u"Setting"_s);
        QVERIFY(window);
        QStringList names;
        const QList<Accessible> boxes = window->content.findAll(u"combo box"_s);
        for (const Accessible &box : boxes)
            names << box.find(u"list"_s).name();
        QCOMPARE(names, QStringList({u"Paper Size:"_s, u"Orientation:"_s, u"Font Size:"_s}));
        m_desktop->pressKey(u"Escape"_s);
        QVERIFY(m_program->isGone(u"Setting"_s));
    }

    void theKeyboardDoesWithoutTheMouse()
    {
        const auto window = m_program->dialog(u"Quirelle"_s);
        QVERIFY(window);
        const QHash<QString, Accessible> controls = focusableControls(window->content);
        QVERIFY(m_program->walkTo(controls.value(u"Settings"_s), window->content));
        m_desktop->pressKey(u"space"_s);
        auto dialog = m_program->dialog(u"Setting"_s);
        QVERIFY(dialog);
        const Accessible gray = dialog->content.find(u"check box"_s, u"Grayscale"_s);
        QVERIFY(m_program->walkTo(gray, dialog->content));
        m_desktop->pressKey(u"space"_s);
        QTRY_VERIFY_WITH_TIMEOUT(gray.isChecked(), patience);
        m_desktop->pressKey(u"Return"_s);
        QVERIFY(m_program->isGone(u"Setting"_s));
        QCOMPARE(m_program->setting(u"Grayscale"_s), u"True"_s);

        QVERIFY(m_program->walkTo(controls.value(u"Add web addresses"_s), window->content));
        m_desktop->pressKey(u"space"_s);
        dialog = m_program->dialog(u"Dialog"_s);
        QVERIFY(dialog);
        QTRY_VERIFY_WITH_TIMEOUT(dialog->content.find(u"text"_s).isFocused(), patience);
        m_desktop->type(u"one.example\ntwo.example"_s);
        QVERIFY(m_program->walkTo(dialog->button(u"OK"_s), dialog->content));
        m_desktop->pressKey(u"Return"_s);
        QVERIFY(m_program->isGone(u"Dialog"_s));
        QTRY_COMPARE_WITH_TIMEOUT(m_program->columnTexts(0),
                                  QStringList({u"one.example"_s, u"two.example"_s}), patience);

        QVERIFY(m_program->walkTo(controls.value(u"Start"_s), window->content));
        m_desktop->pressKey(u"space"_s);
        QVERIFY(m_program->dialog(u"Warning"_s));
        m_desktop->pressKey(u"Return"_s);
        QVERIFY(m_program->isGone(u"Warning"_s));
    }

private:
    static constexpr int patience = 20'000; // milliseconds

    /// What the keyboard gets to, by name.
    static QHash<QString, Accessible> focusableControls(const Accessible &window)
    {
        QHash<QString, Accessible> found;
        forEachControl(window, [&found](const Accessible &control) {
            if (control.isFocusable() && control.isShowing())
                found.insert(spokenName(control), control);
        });
        return found;
    }

    std::unique_ptr<Desktop> m_desktop;
    AccessibilityBus m_bus;
    std::unique_ptr<Program> m_program;
};

QTEST_GUILESS_MAIN(tst_Accessibility)
#include "tst_accessibility.moc"
