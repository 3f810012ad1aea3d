// A build in words: the first line of an input of the "data" target. Words stand between blanks;
// one that says nothing is passed over, so that any line of bytes is a plan.
//
//   v s f g     variable, space-compressed, binary, binary with marks (else fixed text)
//   l80         declared record length
//   b u w e     the options of these letters
//   n n0 n$     the options on duplicate keys
//   m67         fill percentage
//   k5-12       key specification, upwards or downwards; one that overlaps another is dropped
//   p3=A p3#A   simple condition
//   c7<abc      first term of the compound condition: column, one of < > = ! { }, text; the
//               braces are "less or equal" and "greater or equal"
//   &7<abc      a further term, joined by AND
//   |7<abc      a further term, joined by OR
//   !           the compound condition selects the records for which it is false
//   x12         sort memory for 12 items with their references, three at least
//   q           quicksort
//   r           a rebuild follows
//   z           compactions follow, into a new file and in place
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "isi_checker.h"

namespace tavindex::test {

struct BuildPlan {
  BuildRequest request;
  bool errorFile = false;
  unsigned items = 1000;
  bool quicksort = false;
  bool rebuild = false;
  bool compact = false;

  // The option text of the command line, "-" included.
  std::string Options() const;
  // "-m" and the bytes that the items need.
  std::string MemoryOption() const;
  unsigned KeyLength() const;
};

BuildPlan ReadPlan(std::string_view line);

}  // namespace tavindex::test
