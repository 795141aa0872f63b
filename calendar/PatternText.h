// PatternText: reading and printing by the fields of any pattern, one after the other. Not
// installed.
#pragma once

#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "calendar/ClockReading.h"
#include "calendar/PatternField.h"

namespace ztp {

/// What the text says when it is exactly of the form of the fields.
std::optional<ClockReading> readByFields(std::span<const PatternField> fields,
                                         std::string_view text);

/// The text of a clock's face, field by field.
std::string printByFields(std::span<const PatternField> fields, const ClockFace& face);

}  // namespace ztp
