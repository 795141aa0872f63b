// std::format of instants and days, with a standard library that has it; no test framework, as
// GoogleTest's is built with the other one.
#include <cstdio>
#include <format>
#include <string>

#include "calendar/Format.h"

namespace {

int wrong = 0;

void expect(const std::string& is, const std::string& shouldBe) {
  if (is == shouldBe) return;
  std::printf("\"%s\" instead of \"%s\"\n", is.c_str(), shouldBe.c_str());
  ++wrong;
}

}  // namespace

int main() {
  const ztp::Date date = ztp::dateOfDay(ztp::dayNumberFromCivilDate({2019, 3, 15}));
  expect(std::format("{}", date), "2019-03-15T12:00:00Z");
  expect(std::format("{:d}", date), "2019-03-15");
  expect(std::format("[{:>22}]", date), "[  2019-03-15T12:00:00Z]");
  expect(std::format("[{}|{:<12}]", ztp::CivilDate{2019, 3, 15}, ztp::CivilDate{2019, 3, 15}),
         "[2019-03-15|2019-03-15  ]");
  return wrong == 0 ? 0 : 1;
}
