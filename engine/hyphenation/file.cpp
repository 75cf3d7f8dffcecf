#include "engine/hyphenation/file.h"

#include "engine/base/descriptor.h"
#include "engine/hyphenation/hyb.h"

#include <algorithm>
#include <cctype>
#include <dirent.h>
#include <fcntl.h>
#include <memory>
#include <string_view>
#include <unistd.h>

namespace
{

/// Empty if it cannot be read.
std::string contentOf(const std::string &path)
{
    const Descriptor file(::open(path.c_str(), O_RDONLY | O_CLOEXEC));
    std::string content;
    char buffer[1 << 16];
    for (ssize_t size = 0; (size = ::read(file.get(), buffer, sizeof(buffer))) > 0;)
        content.append(buffer, static_cast<size_t>(size));
    return content;
}

bool isLetterOrDigit(char character)
{
    return std::isalnum(static_cast<unsigned char>(character)) != 0;
}

/// The first file in `folder`, by name, that is a dictionary of `language` for any region; empty if there is
/// none.
std::string dictionaryOfAnyRegion(const std::string &folder, const std::string &language)
{
    const std::string start = "hyph_" + language + '_';
    std::string first;
    const std::unique_ptr<DIR, int (*)(DIR *)> list(::opendir(folder.c_str()), ::closedir);
    while (const dirent *entry = list ? ::readdir(list.get()) : nullptr) {
        const std::string name = entry->d_name;
        if (name.starts_with(start) && name.ends_with(".dic") && (first.empty() || name < first))
            first = name;
    }
    return first;
}

/// The content of the dictionary for a language as the browser names it: "fr", "en-us", "de-1996".
std::string dictionaryFor(const std::string &tag, const std::string &folder)
{
    const size_t hyphen = std::min(tag.find('-'), tag.size());
    const std::string language = tag.substr(0, hyphen);
    std::string region = tag.substr(hyphen);
    // The present German orthography and the Mongolian script are those of the dictionaries.
    if (region.empty() || tag == "de-1996" || tag == "mn-cyrl") {
        const std::string content = contentOf(folder + "/hyph_" + language + ".dic");
        return content.empty() ? contentOf(folder + '/' + dictionaryOfAnyRegion(folder, language)) : content;
    }
    region.front() = '_';
    std::transform(region.begin(), region.end(), region.begin(), ::toupper);
    return contentOf(folder + "/hyph_" + language + region + ".dic");
}

} // namespace

std::string hyphenationFile(const std::string &name, const std::string &folder)
{
    constexpr std::string_view start = "hyph-";
    constexpr std::string_view end = ".hyb";
    if (name.size() <= start.size() + end.size() || !name.starts_with(start) || !name.ends_with(end))
        return {};
    const std::string tag = name.substr(start.size(), name.size() - start.size() - end.size());
    if (!std::all_of(tag.begin(), tag.end(), [](char c) { return c == '-' || isLetterOrDigit(c); }))
        return {};
    return hybOf(patternsOf(dictionaryFor(tag, folder)));
}
