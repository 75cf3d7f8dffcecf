// Takes the pictures of the documentation from the real program: pictures BUNDLE SAMPLES PLACE FOLDER. The
// samples are copied to PLACE, whose name the pictures show, and the pictures written to FOLDER.

#include "tests/window/processes.h"
#include "tests/window/program.h"
#include "tests/window/slowserver.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QTest>

using namespace Qt::StringLiterals;

namespace
{

constexpr int jobPatience = 60'000; // milliseconds

bool save(const QImage &picture, const QString &path)
{
    if (picture.save(path))
        return true;
    qWarning("%s cannot be written", qPrintable(path));
    return false;
}

/// Opens a dialog with one of the main window's buttons, has it filled in, takes its picture and closes it.
bool takeDialog(const Desktop &desktop, const Program &program, QRect button, const QString &title,
                const QString &picture, const std::function<bool(const Dialog &)> &fillIn)
{
    program.click(button);
    const auto dialog = program.dialog(title);
    if (!dialog || !fillIn(*dialog))
        return false;
    desktop.moveMouse({0, 0});
    const bool saved = save(desktop.screenshot(dialog->window), picture);
    desktop.pressKey(u"Escape"_s);
    return saved && program.isGone(title);
}

bool takeDialogs(const Desktop &desktop, const Program &program, const QDir &folder)
{
    return takeDialog(desktop, program, Place::Settings, u"Setting"_s, folder.filePath(u"settings.png"_s),
                      [&](const Dialog &dialog) {
                          return program.fill(dialog.content.find(u"text"_s, u"Title:"_s),
                                              u"The river year"_s);
                      }) &&
           takeDialog(desktop, program, Place::AddAddresses, u"Dialog"_s, folder.filePath(u"addurl.png"_s),
                      [&](const Dialog &dialog) {
                          return program.fill(dialog.content.find(u"text"_s),
                                              u"http://www.quirelle.example/\nnews.example/today.html"_s);
                      }) &&
           takeDialog(desktop, program, Place::About, u"About "_s, folder.filePath(u"about.png"_s),
                      [](const Dialog &) { return true; });
}

/// The window in the middle of its run: three files done, an address that failed, and a page that is being
/// loaded.
bool takeWindow(const Desktop &desktop, const Program &program, const QString &place, const QString &picture)
{
    SlowServer server;
    QFile slow(place + u"/documents/catalogue.html"_s);
    if (!slow.open(QIODevice::WriteOnly))
        return false;
    slow.write("<!DOCTYPE html><title>Catalogue</title><img src='" + server.pictureAddress().toUtf8() + "'>");
    slow.close();

    QStringList samples;
    for (const QString &name : {u"article"_s, u"invoice"_s, u"slides"_s})
        samples << place + u"/documents/"_s + name + u".html"_s;
    const bool listed = program.addFiles(samples) && program.addAddresses(u"http://nowhere.invalid/"_s) &&
                        program.addFiles({slow.fileName()}) && program.chooseOutputFolder(place + u"/pdf"_s);
    if (!listed)
        return false;
    program.click(Place::Start);
    const QStringList wanted{u"Success"_s, u"Success"_s, u"Success"_s, u"Failed"_s, u"Converting..."_s};
    if (!QTest::qWaitFor([&] { return program.columnTexts(3) == wanted && server.waiting() == 1; },
                         jobPatience)) {
        qWarning("the run got as far as: %s", qPrintable(program.columnTexts(3).join(u", "_s)));
        return false;
    }
    desktop.moveMouse({0, 0});
    return save(desktop.screenshot(program.window()), picture);
}

bool takePictures(const QStringList &arguments)
{
    const QString &bundle = arguments.at(1);
    const QString &samples = arguments.at(2);
    const QString &place = arguments.at(3);
    const QDir folder(arguments.at(4));
    Desktop desktop;
    AccessibilityBus bus;
    if (!desktop.start({1280, 1024}) ||
        !bus.connectTo(desktop.environment().value(u"DBUS_SESSION_BUS_ADDRESS"_s)) ||
        !QDir().mkpath(place + u"/pdf"_s) || !desktop.ask(u"cp"_s, {u"-r"_s, bundle, desktop.folder()}) ||
        !desktop.ask(u"cp"_s, {u"-r"_s, samples, place + u"/documents"_s}))
        return false;
    Program program(desktop, bus, desktop.file(u"Quirelle.app"_s));
    QFile::remove(program.settingsFile());
    desktop.moveMouse({0, 0});
    return program.start() && takeDialogs(desktop, program, folder) &&
           takeWindow(desktop, program, place, folder.filePath(u"window.png"_s)) && program.close() == 0;
}

} // namespace

int main(int argc, char *argv[])
{
    const QCoreApplication application(argc, argv);
    constexpr int argumentCount = 5;
    if (argc != argumentCount) {
        qWarning("usage: pictures BUNDLE SAMPLES PLACE FOLDER");
        return 1;
    }
    becomeSubreaper();
    const bool taken = takePictures(QCoreApplication::arguments());
    reapDescendants();
    return taken ? 0 : 1;
}
