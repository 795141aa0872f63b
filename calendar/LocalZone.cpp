// LocalZone: reads the process's and the system's settings on every call. Each thread remembers the
// last text that it met and where that led, so an unchanged setting costs a comparison.
#include "calendar/LocalZone.h"

#include <unistd.h>

#include <array>
#include <charconv>
#include <cstdlib>
#include <cstring>
#include <optional>
#include <string>
#include <string_view>

#include "calendar/ErrorLog.h"
#include "calendar/ZoneRegistry.h"

namespace ztp {

namespace {

constexpr const char* localZoneFile = "/etc/localtime";

// What a path below a zone folder is called: ".../zoneinfo/Europe/Paris" is "Europe/Paris".
std::string_view nameBelowZoneFolder(std::string_view path) {
  constexpr std::string_view folder = "/zoneinfo/";
  const std::size_t at = path.rfind(folder);
  return at == std::string_view::npos ? path : path.substr(at + folder.size());
}

// Takes "hh", ":mm" or ":ss" off the front of a POSIX offset.
std::optional<int> takeNumber(std::string_view& text) {
  int value = 0;
  if (text.starts_with('-')) return std::nullopt;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  const auto length = static_cast<std::size_t>(end - text.data());
  if (error != std::errc() || length > 2) return std::nullopt;
  text.remove_prefix(length);
  return value;
}

// Seconds east of GMT of a POSIX offset "[+-]hh[:mm[:ss]]", which counts westwards.
std::optional<std::int32_t> offsetOfPosixText(std::string_view text) {
  const bool east = text.starts_with('-');
  if (east || text.starts_with('+')) text.remove_prefix(1);
  std::int32_t seconds = 0;
  for (const std::int32_t unit : {3600, 60, 1}) {
    const std::optional<int> value = takeNumber(text);
    if (!value || (unit == 3600 ? *value > 24 : *value > 59)) return std::nullopt;
    seconds += *value * unit;
    if (text.empty()) return east ? seconds : -seconds;
    if (!text.starts_with(':')) return std::nullopt;
    text.remove_prefix(1);
  }
  return std::nullopt;
}

// Rules for a POSIX zone without daylight time, "UTC0" or "<+0545>-5:45"; null for other text.
const ZoneRules* posixZoneRules(std::string_view text) {
  constexpr std::string_view letters = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz";
  const bool quoted = text.starts_with('<');
  const std::size_t end = quoted ? text.find('>') : text.find_first_not_of(letters);
  if (end == std::string_view::npos || end < (quoted ? 4U : 3U)) return nullptr;
  const std::optional<std::int32_t> offset = offsetOfPosixText(text.substr(end + (quoted ? 1 : 0)));
  const std::string_view abbreviation = quoted ? text.substr(1, end - 1) : text.substr(0, end);
  return offset ? &zoneRulesOfOffset("posix", std::string(text), *offset, abbreviation) : nullptr;
}

// Rules for a name or path that has not been met before on this thread; null when there are none.
const ZoneRules* rulesOfSetting(std::string_view setting) {
  if (setting.empty() || setting == "UTC") return &utcZoneRules();
  if (setting.starts_with('/')) {
    const std::string_view name = nameBelowZoneFolder(setting);
    if (name == "UTC") return &utcZoneRules();
    const ZoneRules* byName = name == setting ? nullptr : zoneRulesOfFile(std::string(name));
    return byName ? byName : zoneRulesOfFile(std::string(setting));
  }
  // No file's name has these, but what Abseil and the registry call zones of their own does.
  const bool canBeFile = setting.find_first_of(": ") == std::string_view::npos;
  const ZoneRules* file = canBeFile ? zoneRulesOfFile(std::string(setting)) : nullptr;
  return file ? file : posixZoneRules(setting);
}

// UTC in the place of a zone that is not there, reported the first time.
const ZoneRules& rulesOfUnknownZone(std::string_view setting) {
  return *findOrMakeZoneRules("unknown " + std::string(setting), [&] {
    logErrorLine("ERROR: Unknown time zone: " + std::string(setting));
    return std::make_unique<const ZoneRules>("UTC", "UTC", 0);
  });
}

// The last setting that a thread met. Plain bytes, so that a thread's end has nothing to undo.
struct Remembered {
  std::array<char, 256> setting{};
  std::size_t length = 0;
  const ZoneRules* rules = nullptr;
};

const ZoneRules& rulesOfText(std::string_view setting) {
  thread_local Remembered last;
  if (last.rules && setting == std::string_view(last.setting.data(), last.length)) {
    return *last.rules;
  }
  const std::string_view name = setting.starts_with(':') ? setting.substr(1) : setting;
  const ZoneRules* found = rulesOfSetting(name);
  const ZoneRules& rules = found ? *found : rulesOfUnknownZone(name);
  if (setting.size() <= last.setting.size()) {
    std::memcpy(last.setting.data(), setting.data(), setting.size());
    last.length = setting.size();
    last.rules = &rules;
  }
  return rules;
}

}  // namespace

const ZoneRules& utcZoneRules() {
  static const ZoneRules& utc = zoneRulesOfOffset("fixed", "UTC", 0);
  return utc;
}

const ZoneRules& localZoneRules() {
  if (const char* setting = std::getenv("TZ")) return rulesOfText(setting);
  std::array<char, 256> target{};
  const ssize_t length = ::readlink(localZoneFile, target.data(), target.size());
  if (length > 0) {
    const std::string_view path(target.data(), static_cast<std::size_t>(length));
    // A link is named by where it leads; one that leads nowhere below a zone folder is read itself.
    return rulesOfText(nameBelowZoneFolder(path) == path ? localZoneFile : path);
  }
  return ::access(localZoneFile, F_OK) == 0 ? rulesOfText(localZoneFile) : utcZoneRules();
}

}  // namespace ztp
