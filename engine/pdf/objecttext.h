#pragma once

#include <cstddef>
#include <optional>
#include <string_view>
#include <utility>
#include <vector>

/// Object and generation number.
using ObjectId = std::pair<int, int>;

/// The id of an indirect object that begins at the beginning of `text`, "12 0 obj", and what follows its
/// head; nothing if none does.
std::optional<std::pair<ObjectId, std::string_view>> indirectObject(std::string_view text);

/// The dictionary at the beginning of `text`, brackets included; empty if there is none or it does not end.
std::string_view dictionaryText(std::string_view text);

/// Appends the ids of all objects that an object's text, no stream's data, refers to.
void appendReferences(std::string_view text, std::vector<ObjectId> &references);
