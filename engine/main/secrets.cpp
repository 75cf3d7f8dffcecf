#include "engine/main/secrets.h"

#include <algorithm>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <string_view>
#include <unistd.h>

namespace
{

/// An option that takes a value, and the environment variable for that value; empty for none.
struct OptionValue {
    std::string_view option;
    const char *variable;
    bool isSecret;
};

#include "optionvalues.h"

const OptionValue *findOption(std::string_view argument)
{
    const auto found = std::ranges::find(optionValues, argument, &OptionValue::option);
    return found != std::end(optionValues) ? &*found : nullptr;
}

/// Whether the argument begins with a secret option, as in "--password=x", which is refused later.
bool beginsWithSecretOption(std::string_view argument)
{
    return std::ranges::any_of(optionValues, [argument](const OptionValue &value) {
        return value.isSecret && argument.starts_with(value.option);
    });
}

/// Overwrites the memory that process lists show.
void blank(char *text)
{
    memset(text, '*', strlen(text));
}

void takeVariables(Invocation &invocation)
{
    for (const OptionValue &value : optionValues) {
        // A variable can be in the environment more than once: take the first, remove all.
        while (char *text = *value.variable ? ::getenv(value.variable) : nullptr) {
            const std::string_view name = value.variable;
            const auto isSame = [name](const auto &variable) { return variable.first == name; };
            if (*text && std::ranges::none_of(invocation.variables, isSame))
                invocation.variables.emplace_back(name, text);
            blank(text);
            ::unsetenv(value.variable);
        }
    }
    if (const char *time = ::getenv(fixedTimeVariable); time && *time)
        invocation.variables.emplace_back(fixedTimeVariable, time);
}

std::string workingFolder()
{
    char folder[PATH_MAX];
    return ::getcwd(folder, sizeof(folder)) ? folder : "";
}

} // namespace

std::vector<bool> secretArguments(const std::vector<std::string> &arguments)
{
    std::vector<bool> secrets;
    const OptionValue *option = nullptr;
    bool optionsEnded = false;
    for (const std::string &argument : arguments) {
        if (option) {
            secrets.push_back(option->isSecret);
            option = nullptr;
            continue;
        }
        option = optionsEnded ? nullptr : findOption(argument);
        const bool mayBeAddress = argument.find('@') != std::string::npos;
        secrets.push_back(!option && (mayBeAddress || (!optionsEnded && beginsWithSecretOption(argument))));
        optionsEnded = optionsEnded || argument == "--";
    }
    return secrets;
}

Invocation takeInvocation(int argc, char *argv[])
{
    Invocation invocation;
    invocation.begun = Deadline::Clock::now();
    invocation.arguments.assign(argv + std::min(argc, 1), argv + argc);
    const std::vector<bool> secrets = secretArguments(invocation.arguments);
    for (size_t i = 0; i < secrets.size(); ++i) {
        if (secrets[i])
            blank(argv[i + 1]);
    }
    takeVariables(invocation);
    invocation.folder = workingFolder();
    return invocation;
}
