#pragma once

#include <string>
#include <string_view>

/// `text`, in UTF-8, as it may stand on one line of a terminal or log: control characters, invisible ones,
/// line and paragraph separators become "\u" escapes, and of a text of more characters than `maximum` the
/// middle is left out.
std::string onOneLine(std::string_view text, size_t maximum = 500);
