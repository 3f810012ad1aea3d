// The tree and the deleted-record list: every node reached once, keys in order, counts that agree,
// every record in one place.
#pragma once

#include <array>
#include <cstdint>
#include <vector>

#include "isitool/faults.h"
#include "isitool/isi_file.h"
#include "isitool/progress.h"
#include "isitool/sector_table.h"
#include "isitool/walk.h"

namespace tavindex {

// Where an entry stands, by the record that it leads to.
struct EntryPlace {
  std::uint32_t lfa = 0;
  std::uint32_t sector = 0;
  std::uint8_t index = 0;  // from 1
};

class StructureCheck : public WalkVisitor {
 public:
  StructureCheck(IsiFile& file, FaultList& faults, Progress& progress);

  // Needs a file without a `fault`.
  void Run();

  // After Run: in the order of their records.
  const std::vector<EntryPlace>& Entries() const { return entries_; }
  const std::vector<std::uint32_t>& Deleted() const { return deleted_; }

  std::uint64_t Nodes() const { return nodes_; }
  std::uint64_t ListSectors() const { return listSectors_; }
  std::uint32_t Levels() const { return levels_; }  // of the root, plus one

  void OnNode(const Node& node) override;
  bool OnEntry(const Node& node, std::uint32_t index) override;
  void OnListSector(const ListSector& list) override;
  void OnFault(std::uint32_t sector, std::string_view what) override;

 private:
  void CheckNodeBytes(const Node& node);
  void CheckLevel(const Node& node);
  void CheckChildren(const Node& node);
  void CheckPlace(const Node& node, std::uint32_t index, const EntryView& entry);
  void CheckOrder(const Node& node, std::uint32_t index, const EntryView& entry);
  void CheckDuplicate(std::uint32_t sector, std::uint32_t index, const EntryView& entry);
  void CheckListHeader();
  void CheckCounts();
  void CheckRecordsOnce();
  void CheckNotDeleted();
  void CheckUnreached();
  bool BeyondData(std::uint32_t lfa, std::uint32_t length) const;

  IsiFile& file_;
  FaultList& faults_;
  Progress& progress_;
  SectorTable table_;
  std::vector<EntryPlace> entries_;
  std::vector<std::uint32_t> deleted_;
  std::uint64_t nodes_ = 0;
  std::uint64_t listSectors_ = 0;
  std::uint32_t levels_ = 0;
  std::uint64_t dataEnd_ = 0;
  // The entry before the current one.
  std::array<std::uint8_t, kMaxKeyMapEntries> lastKey_{};
  std::uint32_t lastLfa_ = 0;
  std::uint16_t lastDupSeq_ = 0;
  // The list address that follows the current one in the file: the chain runs backwards.
  std::uint64_t nextDeleted_ = UINT64_MAX;
};

}  // namespace tavindex
