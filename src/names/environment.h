// The one lookup for every setting from outside: the "environment" section of the configuration
// file (when one is named), then the process environment.
#pragma once

#include <initializer_list>

#include "common/run_context.h"

namespace tavindex {

// The value of `name`, or null when it has none. A value found in the configuration file stands in
// envValue until the next lookup; an empty value, in either place, is no value.
const char* GetEnvironmentValue(RunContext& run, const char* name);

// The value of the first of `names` that has one, or null.
const char* FirstEnvironmentValue(RunContext& run, std::initializer_list<const char*> names);

}  // namespace tavindex
