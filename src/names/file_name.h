// The name parser of the command line.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

#include "common/file_names.h"

namespace tavindex {

inline constexpr std::int32_t kInvalidName = -1;
inline constexpr std::int32_t kNameOverflow = -2;

// With kLong a name may hold all but a few characters and a quoted one may hold blanks.
enum class NameRule : std::uint8_t { kShort, kLong };

// Reads one name, plain or in double quotes (two quoted pieces that touch are one name), from the
// start of `source` into `name`. Returns the number of characters consumed, kInvalidName, or
// kNameOverflow for a name of more than `capacity` characters (at most 4607).
std::int32_t ParseFileName(std::string_view source, PathText& name, std::size_t capacity,
                           NameRule rule);

}  // namespace tavindex
