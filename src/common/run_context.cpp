#include "common/run_context.h"

namespace tavindex {

RunContext* runContext = nullptr;

}  // namespace tavindex
