// LocalZone: which rules the system's local zone has at this moment. Not installed.
#pragma once

#include "calendar/ZoneRules.h"

namespace ztp {

/// The rules that TZ or /etc/localtime lead to now, as TimeZone::local says.
const ZoneRules& localZoneRules();

/// 0 seconds from GMT, under the name "UTC".
const ZoneRules& utcZoneRules();

}  // namespace ztp
