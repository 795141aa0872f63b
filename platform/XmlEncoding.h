// The encoding of an XML document, so that the parser has to read UTF-8 only.
#pragma once

#include <optional>
#include <string>

#include "platform/Data.h"

namespace ztp {

/// The document in UTF-8, without a byte order mark. It is read in the encoding that its byte order
/// mark tells (UTF-8 or UTF-16), else in the one that its XML declaration names (UTF-8, ISO-8859-1
/// or US-ASCII, or their short names), else in UTF-8; the declaration stays as it is (XML 1.0,
/// section 4.3.3 and appendix F). Absent for any other encoding, and when the bytes are not of it.
std::optional<std::string> xmlInUtf8(DataView document);

}  // namespace ztp
