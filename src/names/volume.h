// Volumes: a name may carry, behind a colon, the name of a volume whose directory the environment
// gives (CUST:DATA with KVRVOL_DATA=/srv/d is /srv/d/CUST), and may write '/' where this system
// has the extension separator (ORDERS/TXT).
#pragma once

#include <cstddef>

#include "common/run_context.h"

namespace tavindex {

inline constexpr std::size_t kVolumeNameLimit = 256;  // a resolved name must be shorter

// Rewrites `name` in place. Returns its new length, or 0 when the result would not fit.
std::size_t ResolveVolume(RunContext& run, PathText& name);

}  // namespace tavindex
