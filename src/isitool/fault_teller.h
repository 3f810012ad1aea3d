// A visitor that tells the faults of a walk as messages: for commands that print what they can.
#pragma once

#include <cstdint>
#include <string_view>

#include "isitool/isi_file.h"
#include "isitool/tool.h"
#include "isitool/walk.h"

namespace tavindex {

class FaultTeller : public WalkVisitor {
 public:
  FaultTeller(const Tool& tool, const IsiFile& file) : tool_(tool), file_(file) {}

  void OnFault(std::uint32_t sector, std::string_view what) override;

  bool Faulty() const { return faulty_; }

 protected:
  const Tool& TheTool() const { return tool_; }
  const IsiFile& File() const { return file_; }

 private:
  const Tool& tool_;
  const IsiFile& file_;
  bool faulty_ = false;
};

}  // namespace tavindex
