// The stages of a build, each alone: scan, sort by both methods, merge, insert. Google Benchmark
// measures them; "items_per_second" are records. For a profile of one stage:
//
//   cmake --preset release -DTAVINDEX_BENCH=ON && cmake --build --preset release
//   build/release/bench/stages --benchmark_filter=Merge

#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <random>
#include <string>
#include <string_view>
#include <vector>

#include "common/buffered_write.h"
#include "common/file.h"
#include "common/run_context.h"
#include "driver/run_driver.h"
#include "isi/isi_format.h"
#include "isi/tree_builder.h"
#include "sort/key_map.h"
#include "sort/merge.h"
#include "sort/record_scanner.h"
#include "sort/sort_area.h"
#include "sort/sort_item.h"
#include "sort/sort_trains.h"

namespace tavindex {
namespace {

constexpr std::uint32_t kRecordLength = 100;
constexpr std::uint32_t kKeyLength = 10;
constexpr std::size_t kTrainTableSize = 1024 * sizeof(std::uint64_t);

// A stage that cannot do its work has nothing to measure.
void Require(bool holds, const char* what) {
  if (holds) return;
  std::perror(what);
  std::exit(1);
}

// A file without a name, gone when its descriptor is closed.
int ScratchFile() {
  const char* directory = std::getenv("TMPDIR");
  const int fd = ::open(directory == nullptr ? "/tmp" : directory, O_TMPFILE | O_RDWR, 0600);
  Require(fd >= 0, "scratch file");
  return fd;
}

class Keys {
 public:
  std::string Next() {
    constexpr std::string_view kLetters = "0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZ";
    std::string key(kKeyLength, ' ');
    for (char& letter : key) letter = kLetters[random_() % kLetters.size()];
    return key;
  }

 private:
  std::mt19937_64 random_{1};
};

// A work area as it stands behind the set-up: a key in columns 1 to 10, the default budget.
class Stage {
 public:
  Stage() : owned_(std::make_unique<RunContext>()), run(*owned_) {
    runContext = &run;
    SetDefaults(run);
    run.control.indexMode = true;
    run.console.progressOn = false;
    Require(AddKeyRange(run, 1, kKeyLength) == kOk, "key");
    FinishKeyMap(run);
    AllocateBuffers();
    run.files.inputFd = ScratchFile();
    run.files.outputFd = ScratchFile();
    run.files.workFd1 = ScratchFile();
    run.files.workFd2 = ScratchFile();
    UseWorkFiles();
  }
  ~Stage() {
    FileState& files = run.files;
    for (int* fd : {&files.inputFd, &files.outputFd, &files.workFd1, &files.workFd2}) {
      CloseFile(*fd);
    }
    runContext = nullptr;
  }
  Stage(const Stage&) = delete;
  Stage& operator=(const Stage&) = delete;

  void WriteData(std::uint32_t records) {
    Keys keys;
    std::string data;
    for (std::uint32_t i = 0; i < records; ++i) {
      data += keys.Next();
      data.append(kRecordLength - kKeyLength, 'x');
      data += '\n';
    }
    Require(WriteAll(run.files.inputFd,
                     {reinterpret_cast<const std::uint8_t*>(data.data()), data.size()}),
            "data file");
  }

  // Stands at the front of the data file again.
  void RewindData() {
    run.scan.bytesInBuffer = 0;
    run.scan.bufferFilePos = 0;
    run.scan.nextLfa = 0;
    run.scan.recordCount = 0;
  }

  // The trains go to the first work file, and the merge reads them there.
  void UseWorkFiles() {
    run.files.workFile = run.files.workFd1;
    run.files.mergeInput = run.files.workFd2;
  }

 private:
  void AllocateBuffers() {
    run.sort.sortAreaSize = kDefaultMaxMemory;
    Require(run.writer.ioBuffer.Allocate(kIoBufferSize) &&
                run.scan.inputBuffer.AllocateZeroed(kInputBufferSize) &&
                run.sort.sortMemory.Allocate(kDefaultMaxMemory) &&
                run.sort.trainTable.Allocate(kTrainTableSize),
            "buffers");
    run.scan.spareArea = run.scan.inputBuffer.Data() + kSpareAreaOffset;
    run.sort.sortMemoryBase = run.sort.sortMemory.Data();
    Require(SizeSortArea(run, run.keys.keyLength), "sort area");
  }

  std::unique_ptr<RunContext> owned_;

 public:
  RunContext& run;
};

void CountRecords(benchmark::State& state, std::uint32_t records) {
  state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(records));
}

// The area is full, with more input behind it or none.
bool Scanned(Result result) { return result == kOk || result == kInputExhausted; }

// From the data file, which is in the page cache, to a full sort area.
void Scan(benchmark::State& state) {
  Stage stage;
  const std::uint32_t records = stage.run.sort.maxItems - 1;
  stage.WriteData(records);
  stage.run.scan.fastWalk = state.range(0) != 0;
  for ([[maybe_unused]] auto _ : state) {
    stage.RewindData();
    Require(Scanned(CreateSubList(stage.run)), "scan");
  }
  CountRecords(state, records);
}
BENCHMARK(Scan)->ArgName("fast")->Arg(1)->Arg(0)->Unit(benchmark::kMillisecond);

// One area of `records`; 32768 is the size that a Shell sort with halved gaps likes least.
void Sort(benchmark::State& state) {
  Stage stage;
  const auto wanted = static_cast<std::uint32_t>(state.range(1));
  const std::uint32_t records = std::min(wanted, stage.run.sort.maxItems - 1);
  stage.WriteData(records);
  stage.RewindData();
  Require(Scanned(CreateSubList(stage.run)), "scan");
  stage.run.control.sortMethod = static_cast<std::uint32_t>(state.range(0));
  stage.run.sort.prefixSort = state.range(2) != 0;
  // The references are made anew by every sort; the items stay where they are.
  for ([[maybe_unused]] auto _ : state) SortSubList(stage.run);
  CountRecords(state, records);
}
BENCHMARK(Sort)
    ->ArgNames({"method", "records", "prefix"})
    ->ArgsProduct({{kShellSort, kQuickSort}, {32768, 43000}, {1, 0}})
    ->Unit(benchmark::kMillisecond);

// What the merge delivers ends here.
Result Discard(RunContext& /*run*/, const std::uint8_t* item) {
  benchmark::DoNotOptimize(item);
  return kOk;
}

// Trains of a full area each, from the work file to the consumer.
void Merge(benchmark::State& state) {
  Stage stage;
  RunContext& run = stage.run;
  const auto ways = static_cast<std::uint32_t>(state.range(0));
  const std::uint32_t records = ways * (run.sort.maxItems - 1);
  stage.WriteData(records);
  run.scan.bufferFilePos = 0;
  run.sort.itemConsumer = Discard;
  run.sort.loserTree = state.range(1) != 0;
  item::WriteEndMarker(run.sort.lastTrainItem.data(), run.sort.itemSize);
  for (std::uint32_t train = 0; train < ways; ++train) {
    Require(Scanned(CreateSubList(run)) && CompleteTrain(run) == kOk, "train");
  }
  Require(WriteEndItem(run) && FlushWrite(run, run.files.workFile), "end of the trains");
  for ([[maybe_unused]] auto _ : state) {
    stage.UseWorkFiles();
    run.sort.trainCount = ways;
    Require(DoFancyMerge(run) == kOk, "merge");
  }
  CountRecords(state, records);
}
BENCHMARK(Merge)
    ->ArgNames({"ways", "tree"})
    ->ArgsProduct({{2, 8, 24}, {1, 0}})
    ->Unit(benchmark::kMillisecond);

// Keys in order, into a tree that is written to a file.
void Insert(benchmark::State& state) {
  Stage stage;
  RunContext& run = stage.run;
  constexpr std::uint32_t kRecords = 100000;
  Keys keys;
  std::vector<std::string> sorted(kRecords);
  std::generate(sorted.begin(), sorted.end(), [&keys] { return keys.Next(); });
  std::sort(sorted.begin(), sorted.end());
  run.data.recordLength = kRecordLength + 1;
  for ([[maybe_unused]] auto _ : state) {
    Require(SeekTo(run.files.outputFd, kFrontSize) >= 0 &&
                StartTree(run, kKeyLength, entry::Size(kKeyLength)) == kOk,
            "tree");
    std::uint64_t position = 0;
    for (const std::string& key : sorted) {
      const KeyItem item{.position = position,
                         .recLength = kRecordLength + 1,
                         .key = reinterpret_cast<const std::uint8_t*>(key.data())};
      Require(InsertKey(run, item) == kOk, "insert");
      position += kRecordLength + 1;
    }
    Require(FinishTree(run) == kOk, "end of the tree");
  }
  CountRecords(state, kRecords);
}
BENCHMARK(Insert)->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace tavindex

BENCHMARK_MAIN();
