#include "engine/client/message.h"

#include <charconv>
#include <cstring>
#include <stdexcept>

namespace
{

constexpr size_t headerSize = sizeof(uint32_t) + 1;
constexpr std::chrono::milliseconds maximumTime = std::chrono::hours(24 * 365);

[[noreturn]] void refuse()
{
    throw std::runtime_error("not a message of client or server");
}

void append(std::string &body, std::string_view text)
{
    body.append(text).push_back('\0');
}

void append(std::string &body, int64_t number)
{
    append(body, std::to_string(number));
}

void append(std::string &body, std::chrono::milliseconds time)
{
    append(body, static_cast<int64_t>(time.count()));
}

/// Takes off the text that a null character ends.
std::string takeText(std::string_view &body)
{
    const size_t end = body.find('\0');
    if (end == std::string_view::npos)
        refuse();
    const std::string_view text = body.substr(0, end);
    body.remove_prefix(end + 1);
    return std::string(text);
}

int64_t takeNumber(std::string_view &body, int64_t least, int64_t most)
{
    const std::string text = takeText(body);
    int64_t number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (error != std::errc() || end != text.data() + text.size() || number < least || number > most)
        refuse();
    return number;
}

std::chrono::milliseconds takeTime(std::string_view &body)
{
    return std::chrono::milliseconds(takeNumber(body, 0, maximumTime.count()));
}

} // namespace

std::string frameHeader(FrameKind kind, size_t size)
{
    const auto length = static_cast<uint32_t>(size);
    std::string bytes(reinterpret_cast<const char *>(&length), sizeof(length));
    bytes += static_cast<char>(kind);
    return bytes;
}

std::string frameBytes(FrameKind kind, std::string_view body)
{
    return frameHeader(kind, body.size()).append(body);
}

std::optional<Frame> takeFrame(std::string &bytes, size_t limit)
{
    if (bytes.size() < headerSize)
        return std::nullopt;
    uint32_t size = 0;
    memcpy(&size, bytes.data(), sizeof(size));
    const char kind = bytes[sizeof(size)];
    if (std::string_view("onyawfp").find(kind) == std::string_view::npos || size > limit)
        refuse();
    if (bytes.size() - headerSize < size)
        return std::nullopt;
    Frame frame{static_cast<FrameKind>(kind), bytes.substr(headerSize, size)};
    bytes.erase(0, headerSize + size);
    return frame;
}

std::string orderBody(const Invocation &invocation)
{
    std::string body;
    append(body,
           std::chrono::duration_cast<std::chrono::milliseconds>(Deadline::Clock::now() - invocation.begun));
    append(body, invocation.folder);
    append(body, int64_t{invocation.isPart});
    append(body, int64_t{invocation.document.has_value()});
    if (invocation.document) {
        append(body, static_cast<int64_t>(invocation.document->size()));
        body += *invocation.document;
    }
    append(body, static_cast<int64_t>(invocation.variables.size()));
    for (const auto &[name, value] : invocation.variables) {
        append(body, name);
        append(body, value);
    }
    for (const std::string &argument : invocation.arguments)
        append(body, argument);
    return body;
}

Invocation invocationFrom(std::string_view body)
{
    Invocation invocation;
    invocation.begun = Deadline::Clock::now() - takeTime(body);
    invocation.folder = takeText(body);
    invocation.isPart = takeNumber(body, 0, 1) == 1;
    if (takeNumber(body, 0, 1) == 1) {
        const auto size = static_cast<size_t>(takeNumber(body, 0, maximumDocument));
        if (size > body.size())
            refuse();
        invocation.document = body.substr(0, size);
        body.remove_prefix(size);
    }
    for (int64_t left = takeNumber(body, 0, maximumOrder); left > 0; --left) {
        std::string name = takeText(body);
        invocation.variables.emplace_back(std::move(name), takeText(body));
    }
    while (!body.empty())
        invocation.arguments.push_back(takeText(body));
    return invocation;
}

std::string acceptanceBody(const Acceptance &acceptance)
{
    std::string body;
    append(body, acceptance.left);
    append(body, acceptance.output);
    append(body, acceptance.name);
    append(body, acceptance.report);
    append(body, int64_t{acceptance.isQuiet});
    return body;
}

Acceptance acceptanceFrom(std::string_view body)
{
    Acceptance acceptance;
    acceptance.left = takeTime(body);
    acceptance.output = takeText(body);
    acceptance.name = takeText(body);
    acceptance.report = takeText(body);
    acceptance.isQuiet = takeNumber(body, 0, 1) == 1;
    return acceptance;
}

std::string findingsBody(const Findings &findings)
{
    std::string body;
    append(body, findings.report);
    append(body, findings.address);
    for (const std::string &warning : findings.warnings)
        append(body, warning);
    return body;
}

Findings findingsFrom(std::string_view body)
{
    Findings findings;
    findings.report = takeText(body);
    findings.address = takeText(body);
    while (!body.empty())
        findings.warnings.push_back(takeText(body));
    return findings;
}

std::string failureBody(const FailureReply &failure)
{
    std::string body;
    append(body, static_cast<int64_t>(failure.code));
    append(body, int64_t{failure.isFinal});
    append(body, failure.message);
    return body;
}

FailureReply failureFrom(std::string_view body)
{
    const int64_t code = takeNumber(body, static_cast<int64_t>(ExitCode::BadArguments),
                                    static_cast<int64_t>(ExitCode::Incomplete));
    const bool isFinal = takeNumber(body, 0, 1) == 1;
    return {static_cast<ExitCode>(code), isFinal, takeText(body)};
}
