#include "engine/job/standardinput.h"

#include "engine/base/invocation.h"
#include "engine/job/failure.h"

#include <array>
#include <cerrno>
#include <cstring>
#include <poll.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

namespace
{

[[noreturn]] void refuse(const QString &reason)
{
    throw Failure(ExitCode::NotLoaded, u"standard input %1"_s.arg(reason));
}

} // namespace

std::string readStandardInput()
{
    std::string content;
    std::array<char, 1 << 16> buffer{};
    for (;;) {
        const ssize_t count = ::read(STDIN_FILENO, buffer.data(), buffer.size());
        if (count == 0)
            break;
        if (count > 0) {
            content.append(buffer.data(), static_cast<size_t>(count));
        } else if (errno == EAGAIN) {
            pollfd input{STDIN_FILENO, POLLIN, 0};
            ::poll(&input, 1, -1);
        } else if (errno != EINTR) {
            refuse(u"cannot be read: %1; send a document with | or <"_s.arg(
                QString::fromLocal8Bit(strerror(errno))));
        }
        if (content.size() > maximumDocument)
            refuse(u"has more than %1 MiB: write the document to a file first"_s.arg(maximumDocument >> 20));
    }
    if (content.empty())
        refuse(u"is empty: send a document with | or <"_s);
    return content;
}
