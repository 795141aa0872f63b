// Export: marks what a program that links the shared library may use. All else stays inside it, the
// library that reads the zone files among it.
#pragma once

/// Stands between "class" and the name, or in front of a function.
#define ZANBURY_CALENDAR_API [[gnu::visibility("default")]]
