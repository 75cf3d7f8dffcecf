#pragma once

#include <functional>
#include <string>
#include <string_view>
#include <vector>

/// If `text` begins with the object `number` of generation 0 and this is a dictionary or an array, as in "12
/// 0 obj
/// <<…>> endobj", its text without "obj" and "endobj"; otherwise, also for a stream, empty.
std::string_view objectText(std::string_view text, int number);

/// Appends the numbers of all objects that `text`, an object's text without stream data, refers to. Throws
/// std::runtime_error at a reference to a generation other than 0: the browser writes none.
void appendReferences(std::string_view text, std::vector<int> &references);

/// The text of an object, without stream data, with what `numberOf` gives for the numbers of the objects that
/// it refers to. Throws as appendReferences() does.
std::string renumbered(std::string_view text, const std::function<int(int number)> &numberOf);
