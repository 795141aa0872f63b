// ParameterAssertion: what a caller gets who breaks the contract of a calendar method.
#pragma once

#include <stdexcept>
#include <string>
#include <string_view>

#include "calendar/Export.h"

namespace ztp {

/// A parameter that a method cannot do without was absent. It names the place of the assertion as
/// the library's users know it, and the condition that did not hold.
class ZANBURY_CALENDAR_API ParameterAssertion : public std::logic_error {
 public:
  /// `condition` is the text of the condition, such as "inDate != nil".
  ParameterAssertion(std::string_view fileName, int line, std::string_view condition);

  /// "ZDateUtilities" or "ZTimestampUtilities".
  [[nodiscard]] const std::string& fileName() const { return fileName_; }
  /// The line that is stated with the method's declaration.
  [[nodiscard]] int line() const { return line_; }
  /// "Invalid parameter not satisfying: " and the condition; the same as what().
  [[nodiscard]] std::string description() const { return what(); }

 private:
  std::string fileName_;
  int line_;
};

}  // namespace ztp
