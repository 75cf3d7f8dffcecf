#pragma once

#include <functional>
#include <string_view>

/// Called with what a job is doing, such as "printing page.html" in UTF-8, whenever that changes.
using ActivityListener = std::function<void(std::string_view activity)>;
