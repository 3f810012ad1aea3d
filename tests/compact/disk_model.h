// What a disk has kept of a run's changes when the machine stops in the middle of it.
//
//   1. DiskRecorder   stands between a run and the system and writes down every change the run
//                     makes to files, in order.
//   2. Disk           is told the changes one by one, and gives what may be found after a stop.
//
// The rules are those that POSIX leaves a program with. What was written to a file before its last
// fsync is there. Of what came behind that, any sectors of 512 bytes may be there and any not, in
// whatever order they were written, and the file may have its new length or not. A name that was
// made or removed is a change of its directory, and is certain only when the directory was synced.
// One order is relied on: a file that is emptied gets new blocks, so that what is written to it
// afterwards is there only if the emptying is.

#ifndef TESTS_COMPACT_DISK_MODEL_H_
#define TESTS_COMPACT_DISK_MODEL_H_

#include <cstddef>
#include <functional>
#include <map>
#include <random>
#include <string>
#include <vector>

#include "support/system_calls_guard.h"

namespace tavindex::test {

using FilesOnDisk = std::map<std::string, std::string>;  // name and content

enum class ChangeKind { kCreate, kResize, kWrite, kUnlink, kSyncFile, kSyncDirectory };

struct DiskChange {
  ChangeKind kind;
  std::string name;        // of the file, or of the directory that is synced
  int file = -1;           // a number that stays the file's own when its name goes
  std::size_t offset = 0;  // of a write; the size of a resize
  std::string bytes = {};  // of a write
};

class DiskRecorder {
 public:
  // Asked before each change: an error number makes the call fail with it, 0 lets it pass.
  using Gate = std::function<int(const DiskChange&)>;

  // Files in `start` are those that the run finds. Records until `calls` puts the table back; the
  // recorder must outlive the run. Nothing is really synced, and unique names are numbered.
  DiskRecorder(const FilesOnDisk& start, SystemCallsGuard& calls, Gate gate = {});
  DiskRecorder(const DiskRecorder&) = delete;
  DiskRecorder& operator=(const DiskRecorder&) = delete;

  const std::vector<DiskChange>& Changes() const { return changes_; }

 private:
  struct OpenFile {
    std::string name;
    int file;
  };

  bool Refused(const DiskChange& change) const;
  void ReplaceNameCalls(SystemCallsGuard& calls);
  void ReplaceContentCalls(SystemCallsGuard& calls);
  int Open(const char* path, int flags, mode_t mode);
  int OpenDirectory(const char* path, int flags, mode_t mode);
  int MakeUnique(char* pattern);
  int Unlink(const char* path);
  ssize_t Write(int fd, const void* bytes, std::size_t count);
  int Truncate(int fd, off_t size);
  int Sync(int fd);
  int Created(int fd, const std::string& name);

  Gate gate_;
  SystemCalls original_;
  std::vector<DiskChange> changes_;
  std::map<std::string, int> names_;
  std::map<int, OpenFile> open_;
  std::map<int, std::string> openDirectories_;
  int files_ = 0;
};

class Disk {
 public:
  explicit Disk(const FilesOnDisk& start);

  void Apply(const DiskChange& change);

  // The program was killed, the system runs on.
  FilesOnDisk EverythingKept() const;
  // Nothing that was not synced.
  FilesOnDisk NothingKept() const;
  // All names and no content that was not synced, and the other way round.
  FilesOnDisk NamesKept() const;
  FilesOnDisk ContentsKept() const;
  // Some of the sectors, lengths and names, by chance.
  FilesOnDisk Torn(std::mt19937& random) const;

 private:
  struct File {
    std::string synced;
    std::string now;
    std::vector<DiskChange> pending;  // since the last fsync
  };
  using Names = std::map<std::string, std::vector<int>>;

  static std::string TornContent(const File& file, std::mt19937& random);
  template <typename Name, typename Content>
  FilesOnDisk Collect(Name nameOf, Content contentOf) const;

  std::vector<File> files_;
  // The file that each name stood for since its directory was synced, -1 for none: the synced one
  // first, the newest last.
  Names names_;
};

}  // namespace tavindex::test

#endif  // TESTS_COMPACT_DISK_MODEL_H_
