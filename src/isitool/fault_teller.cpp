#include "isitool/fault_teller.h"

#include <string>

#include "isitool/text.h"

namespace tavindex {

void FaultTeller::OnFault(std::uint32_t sector, std::string_view what) {
  Complain(tool_, file_.path,
           (sector == kHeaderSector ? std::string("header: ") : Format("sector %u: ", sector))
               .append(what));
  faulty_ = true;
}

}  // namespace tavindex
