// The header's two tables as a build request gives them.

#ifndef TESTS_CHECKER_HEADER_TABLES_H_
#define TESTS_CHECKER_HEADER_TABLES_H_

#include <vector>

#include "isi_checker.h"

namespace tavindex::test {

// In ascending column order, equal columns as they came. A compound condition stands at its highest
// column, without a character. At most as many as the table holds.
std::vector<HeaderCondition> ConditionTableOf(const BuildRequest& request);

// In command-line order; a downward range is kept by its lowest column.
std::vector<HeaderKeyField> KeyTableOf(const BuildRequest& request);

}  // namespace tavindex::test

#endif  // TESTS_CHECKER_HEADER_TABLES_H_
