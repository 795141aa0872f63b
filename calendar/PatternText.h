// PatternText: reading and printing by the fields of any pattern, one after the other. Not
// installed.
#pragma once

#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "calendar/ParsedTime.h"
#include "calendar/PatternField.h"
#include "calendar/WallTime.h"

namespace ztp {

/// What the text says when it is exactly of the form of the fields.
std::optional<ParsedTime> readByFields(std::span<const PatternField> fields, std::string_view text);

/// The text of a wall-clock time, field by field.
std::string printByFields(std::span<const PatternField> fields, const WallTime& time);

}  // namespace ztp
