#pragma once

#include <string_view>
#include <vector>

/// The text of object `number` of generation 0, a dictionary or an array, from "12 0 obj <<…>> endobj" at the
/// beginning of `text`; empty if something else stands there, such as a stream.
std::string_view objectText(std::string_view text, int number);

/// Appends the numbers of all objects of generation 0 that an object's text, no stream's data, refers to.
/// Throws std::runtime_error at a reference to another generation: the browser writes none.
void appendReferences(std::string_view text, std::vector<int> &references);
