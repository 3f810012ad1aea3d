#include "names/environment.h"

#include <cstdlib>

#include "names/profile.h"

namespace tavindex {

const char* GetEnvironmentValue(RunContext& run, const char* name) {
  if (!run.names.iniFileName.Empty()) {
    const ProfileQuery query{.section = "environment", .key = name, .defaultText = nullptr};
    if (GetProfileString(run, query, run.names.envValue, run.names.iniFileName.CStr()) != 0) {
      return run.names.envValue.data();
    }
  }
  const char* value = std::getenv(name);
  return value == nullptr || *value == '\0' ? nullptr : value;
}

const char* FirstEnvironmentValue(RunContext& run, std::initializer_list<const char*> names) {
  for (const char* name : names) {
    if (const char* value = GetEnvironmentValue(run, name)) return value;
  }
  return nullptr;
}

}  // namespace tavindex
