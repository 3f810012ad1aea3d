// What the banner says about the program.
#pragma once

namespace tavindex {

extern const char* const kVersionText;
extern const char* const kNoticeText;

}  // namespace tavindex
