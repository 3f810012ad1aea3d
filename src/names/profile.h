// The configuration file: a text file of sections and entries.
//
//     [ environment ]          a section header; text behind the ']' is ignored
//     KVR_PATH = /srv/data     an entry of that section
//
// A section's name is trimmed on both sides; an entry's key is trimmed only behind, so that an
// indented line names another key; values are trimmed on both sides. Names compare without regard
// to case. Only the first section of a name is searched, and in it the first entry of a name wins.
// Every other line is passed over. Lines end in LF or CR LF; a line longer than 900 bytes is read
// as several.
#pragma once

#include <cstdint>
#include <span>
#include <string_view>

#include "common/run_context.h"

namespace tavindex {

inline constexpr std::uint32_t kIniLineSize = 900;

// Forgets what the line reader holds; to be called when a file was opened.
void StartIniFile(RunContext& run);

// Reads the next line of `fd`. Returns its length in bytes with its end-of-line bytes, or 0 at the
// end of the file; the line stands at iniLineStart, terminated, without its end-of-line bytes.
std::uint32_t ReadIniLine(RunContext& run, int fd);

// What to look up: a null section asks for the list of sections, a null key for the list of keys.
struct ProfileQuery {
  const char* section;
  const char* key;
  const char* defaultText;  // may be null
};

// Looks `query` up in the file `fileName` and fills `out` (terminated; lists hold terminated names
// and end in two NULs). Returns the characters found, or the length of the default when the file,
// the section or the key is missing. Nothing is ever reported.
std::uint32_t GetProfileString(RunContext& run, const ProfileQuery& query, std::span<char> out,
                               const char* fileName);

}  // namespace tavindex
