#pragma once

#include <string>
#include <string_view>

namespace varnelle {

/// UTF-8 text without white space and line breaks, as Unicode knows them, at its ends.
std::string_view trimmed(std::string_view text);

/// Text with its ASCII letters in lower case; other letters stay as they are.
std::string lowercased(std::string text);

/// A name that any common file system takes: trimmed, and with each of `/ \ : ? % * | " < >` replaced by "-";
/// the fallback if nothing is left.
std::string sanitizedFileName(std::string_view name, std::string_view fallback);

/// Order of file names as people expect it: case doesn't count, and runs of digits compare as numbers. Names
/// that are equal in that sense are ordered by their bytes, so that the order is total.
bool precedesNaturally(std::string_view a, std::string_view b);

}  // namespace varnelle
