#include "engine/cli/module.h"

#include "engine/base/modules.h"
#include "engine/cli/run.h"
#include "engine/client/endpoint.h"
#include "engine/client/message.h"
#include "engine/client/start.h"
#include "engine/server/server.h"

#include <QCoreApplication>

#include <type_traits>

namespace
{

/// Qt's application, which writes nothing to standard error: in a locale without UTF-8 Qt 6.8 says that it
/// uses UTF-8 nevertheless.
struct Application {
    Application(int &argc, char **argv) : application(argc, argv) { qInstallMessageHandler(previousHandler); }

    QtMessageHandler previousHandler =
        qInstallMessageHandler([](QtMsgType, const QMessageLogContext &, const QString &) {});
    QCoreApplication application;
};

} // namespace

extern "C" Q_DECL_EXPORT int runEngine(int argc, char **argv, const char *order, size_t size,
                                       bool serverTried)
{
    const Application application(argc, argv);
    return runCommandLine(invocationFrom({order, size}), serverTried ? UseServer::No : UseServer::Yes);
}

extern "C" Q_DECL_EXPORT int serveOrders(int argc, char **argv)
{
    const Application application(argc, argv);
    return runServer(Descriptor(serverSocket), executablePath(), idleSeconds(), jobFrom);
}

static_assert(std::is_same_v<decltype(&runEngine), RunEngine>);
static_assert(std::is_same_v<decltype(&serveOrders), ServeOrders>);
