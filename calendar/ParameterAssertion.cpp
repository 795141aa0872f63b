// ParameterAssertion: the wording of a failed parameter check.
#include "calendar/ParameterAssertion.h"

namespace ztp {

ParameterAssertion::ParameterAssertion(std::string_view fileName, int line,
                                       std::string_view condition)
    : std::logic_error("Invalid parameter not satisfying: " + std::string(condition)),
      fileName_(fileName),
      line_(line) {}

}  // namespace ztp
