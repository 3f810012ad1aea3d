#include "driver/version.h"

namespace tavindex {

const char* const kVersionText = TAVINDEX_VERSION;
const char* const kNoticeText = "Builds and maintains ISI index files.";

}  // namespace tavindex
