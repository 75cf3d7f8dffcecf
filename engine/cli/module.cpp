#include "engine/cli/module.h"

#include "engine/base/modules.h"
#include "engine/cli/run.h"
#include "engine/client/endpoint.h"
#include "engine/client/message.h"
#include "engine/client/start.h"
#include "engine/server/server.h"

#include <QCoreApplication>

#include <type_traits>

extern "C" Q_DECL_EXPORT int runEngine(int argc, char **argv, const char *order, size_t size,
                                       bool serverTried)
{
    const QCoreApplication application(argc, argv);
    return runCommandLine(invocationFrom({order, size}), serverTried ? UseServer::No : UseServer::Yes);
}

extern "C" Q_DECL_EXPORT int serveOrders(int argc, char **argv)
{
    const QCoreApplication application(argc, argv);
    return runServer(Descriptor(serverSocket), executablePath(), idleSeconds(), jobFrom);
}

static_assert(std::is_same_v<decltype(&runEngine), RunEngine>);
static_assert(std::is_same_v<decltype(&serveOrders), ServeOrders>);
