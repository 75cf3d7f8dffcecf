#pragma once

#include <string>
#include <string_view>

/// `text` (UTF-8) made safe for one line of a terminal or log: control and format characters and line and
/// paragraph separators become "\u" escapes; a text of more than `maximum` characters loses its middle.
std::string onOneLine(std::string_view text, size_t maximum = 500);
