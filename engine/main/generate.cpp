// Generates a header with the part of the table of options that the small program needs: which options take
// values, their variables, and which of them are secret.

#include "engine/cli/options.h"

#include <cstdio>

int main(int, char *argv[])
{
    FILE *header = std::fopen(argv[1], "w");
    if (!header)
        return 1;
    std::fputs("constexpr OptionValue optionValues[] = {\n", header);
    for (const Option &option : allOptions()) {
        if (option.value)
            std::fprintf(header, "    {\"%s\", \"%s\", %s},\n", option.name, option.variable,
                         option.isSecret ? "true" : "false");
    }
    std::fputs("};\n", header);
    return std::fclose(header) == 0 ? 0 : 1;
}
