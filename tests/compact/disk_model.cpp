#include "disk_model.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <utility>

namespace tavindex::test {
namespace {

constexpr std::size_t kSector = 512;
constexpr int kNone = -1;

std::string PlainName(const std::string& path) {
  std::string name = std::filesystem::path(path).lexically_normal();
  while (name.size() > 1 && name.back() == '/') name.pop_back();
  return name;
}

std::string DirectoryOf(const std::string& name) {
  const std::string directory = std::filesystem::path(name).parent_path();
  return directory.empty() ? "." : directory;
}

bool Coin(std::mt19937& random) { return random() % 2 == 0; }

void PutAt(std::string& content, std::size_t offset, std::string_view bytes) {
  if (content.size() < offset + bytes.size()) content.resize(offset + bytes.size());
  content.replace(offset, bytes.size(), bytes);
}

// The pieces of one write that reached the disk: each sector by itself.
void PutSomeSectors(std::string& content, const DiskChange& write, unsigned percent,
                    std::mt19937& random) {
  const std::size_t end = write.offset + write.bytes.size();
  for (std::size_t at = write.offset; at < end;) {
    const std::size_t next = std::min(end, (at / kSector + 1) * kSector);
    if (random() % 100 < percent) {
      PutAt(content, at, std::string_view(write.bytes).substr(at - write.offset, next - at));
    }
    at = next;
  }
}

}  // namespace

// ---- The recorder ------------------------------------------------------------------------------

DiskRecorder::DiskRecorder(const FilesOnDisk& start, SystemCallsGuard& calls, Gate gate)
    : gate_(std::move(gate)), original_(calls.Original()) {
  for (const auto& [name, content] : start) names_[name] = files_++;
  ReplaceNameCalls(calls);
  ReplaceContentCalls(calls);
}

void DiskRecorder::ReplaceNameCalls(SystemCallsGuard& calls) {
  calls.Replace<&SystemCalls::open>(
      [this](const char* path, int flags, mode_t mode) { return Open(path, flags, mode); });
  calls.Replace<&SystemCalls::close>([this](int fd) {
    open_.erase(fd);
    openDirectories_.erase(fd);
    return original_.close(fd);
  });
  calls.Replace<&SystemCalls::mkstemp>([this](char* pattern) { return MakeUnique(pattern); });
  calls.Replace<&SystemCalls::unlink>([this](const char* path) { return Unlink(path); });
}

void DiskRecorder::ReplaceContentCalls(SystemCallsGuard& calls) {
  calls.Replace<&SystemCalls::write>(
      [this](int fd, const void* bytes, std::size_t count) { return Write(fd, bytes, count); });
  calls.Replace<&SystemCalls::ftruncate>([this](int fd, off_t size) { return Truncate(fd, size); });
  calls.Replace<&SystemCalls::fsync>([this](int fd) { return Sync(fd); });
}

bool DiskRecorder::Refused(const DiskChange& change) const {
  const int error = gate_ ? gate_(change) : 0;
  if (error != 0) errno = error;
  return error != 0;
}

int DiskRecorder::Created(int fd, const std::string& name) {
  if (fd < 0) return fd;
  names_[name] = files_;
  open_[fd] = {name, files_};
  changes_.push_back({ChangeKind::kCreate, name, files_});
  ++files_;
  return fd;
}

int DiskRecorder::OpenDirectory(const char* path, int flags, mode_t mode) {
  const int fd = original_.open(path, flags, mode);
  if (fd >= 0) openDirectories_[fd] = PlainName(path);
  return fd;
}

int DiskRecorder::Open(const char* path, int flags, mode_t mode) {
  if ((flags & O_DIRECTORY) != 0) return OpenDirectory(path, flags, mode);
  const std::string name = PlainName(path);
  const auto known = names_.find(name);
  if (known == names_.end()) {
    if ((flags & O_CREAT) == 0) return original_.open(path, flags, mode);
    if (Refused({ChangeKind::kCreate, name, files_})) return -1;
    return Created(original_.open(path, flags, mode), name);
  }
  const bool onlyNew = (flags & O_CREAT) != 0 && (flags & O_EXCL) != 0;
  const bool empties = (flags & O_TRUNC) != 0 && !onlyNew;
  const DiskChange emptied = {ChangeKind::kResize, name, known->second};
  if (empties && Refused(emptied)) return -1;
  const int fd = original_.open(path, flags, mode);
  if (fd < 0) return fd;
  open_[fd] = {name, known->second};
  if (empties) changes_.push_back(emptied);
  return fd;
}

// A name by chance would make two equal runs differ.
int DiskRecorder::MakeUnique(char* pattern) {
  const std::string number = std::to_string(100000 + files_);
  number.copy(pattern + std::strlen(pattern) - number.size(), number.size());
  return Open(pattern, O_RDWR | O_CREAT | O_EXCL, 0600);
}

int DiskRecorder::Unlink(const char* path) {
  const std::string name = PlainName(path);
  const auto known = names_.find(name);
  if (known == names_.end()) return original_.unlink(path);
  const DiskChange gone = {ChangeKind::kUnlink, name, known->second};
  if (Refused(gone)) return -1;
  if (original_.unlink(path) != 0) return -1;
  names_.erase(known);
  changes_.push_back(gone);
  return 0;
}

ssize_t DiskRecorder::Write(int fd, const void* bytes, std::size_t count) {
  const OpenFile& file = open_.at(fd);
  const auto offset = static_cast<std::size_t>(original_.lseek(fd, 0, SEEK_CUR));
  DiskChange change = {ChangeKind::kWrite, file.name, file.file, offset,
                       std::string(static_cast<const char*>(bytes), count)};
  if (Refused(change)) return -1;
  const ssize_t written = original_.write(fd, bytes, count);
  if (written <= 0) return written;
  change.bytes.resize(static_cast<std::size_t>(written));
  changes_.push_back(std::move(change));
  return written;
}

int DiskRecorder::Truncate(int fd, off_t size) {
  const OpenFile& file = open_.at(fd);
  const DiskChange change = {ChangeKind::kResize, file.name, file.file,
                             static_cast<std::size_t>(size)};
  if (Refused(change)) return -1;
  if (original_.ftruncate(fd, size) != 0) return -1;
  changes_.push_back(change);
  return 0;
}

int DiskRecorder::Sync(int fd) {
  const auto directory = openDirectories_.find(fd);
  const DiskChange change =
      directory != openDirectories_.end()
          ? DiskChange{ChangeKind::kSyncDirectory, directory->second}
          : DiskChange{ChangeKind::kSyncFile, open_.at(fd).name, open_.at(fd).file};
  if (Refused(change)) return -1;
  changes_.push_back(change);
  return 0;
}

// ---- The disk ----------------------------------------------------------------------------------

Disk::Disk(const FilesOnDisk& start) {
  for (const auto& [name, content] : start) {
    names_[name] = {static_cast<int>(files_.size())};
    files_.push_back({content, content, {}});
  }
}

void Disk::Apply(const DiskChange& change) {
  if (change.kind == ChangeKind::kCreate) {
    if (!names_.contains(change.name)) names_[change.name] = {kNone};
    names_[change.name].push_back(change.file);
    files_.emplace_back();
    return;
  }
  if (change.kind == ChangeKind::kUnlink) {
    names_[change.name].push_back(kNone);
    return;
  }
  if (change.kind == ChangeKind::kSyncDirectory) {
    for (auto& [name, versions] : names_) {
      if (DirectoryOf(name) == change.name) versions = {versions.back()};
    }
    return;
  }
  File& file = files_.at(static_cast<std::size_t>(change.file));
  if (change.kind == ChangeKind::kSyncFile) {
    file.synced = file.now;
    file.pending.clear();
    return;
  }
  if (change.kind == ChangeKind::kWrite) PutAt(file.now, change.offset, change.bytes);
  if (change.kind == ChangeKind::kResize) file.now.resize(change.offset);
  file.pending.push_back(change);
}

template <typename Name, typename Content>
FilesOnDisk Disk::Collect(Name nameOf, Content contentOf) const {
  FilesOnDisk found;
  for (const auto& [name, versions] : names_) {
    const int file = nameOf(versions);
    if (file != kNone) found[name] = contentOf(files_.at(static_cast<std::size_t>(file)));
  }
  return found;
}

FilesOnDisk Disk::EverythingKept() const {
  return Collect([](const auto& versions) { return versions.back(); },
                 [](const File& file) { return file.now; });
}
FilesOnDisk Disk::NothingKept() const {
  return Collect([](const auto& versions) { return versions.front(); },
                 [](const File& file) { return file.synced; });
}
FilesOnDisk Disk::NamesKept() const {
  return Collect([](const auto& versions) { return versions.back(); },
                 [](const File& file) { return file.synced; });
}
FilesOnDisk Disk::ContentsKept() const {
  return Collect([](const auto& versions) { return versions.front(); },
                 [](const File& file) { return file.now; });
}

std::string Disk::TornContent(const File& file, std::mt19937& random) {
  // Now and then a single sector is missing, or a single one there.
  const unsigned percent = std::vector<unsigned>{10, 50, 90, 97}[random() % 4];
  std::string content = file.synced;
  for (const DiskChange& change : file.pending) {
    if (change.kind == ChangeKind::kWrite) {
      PutSomeSectors(content, change, percent, random);
    } else if (Coin(random)) {
      content.resize(change.offset);
    } else if (change.offset == 0 && !content.empty()) {
      return content;
    }
  }
  if (Coin(random)) content.resize(file.now.size());
  return content;
}

FilesOnDisk Disk::Torn(std::mt19937& random) const {
  return Collect([&](const auto& versions) { return versions[random() % versions.size()]; },
                 [&](const File& file) { return TornContent(file, random); });
}

}  // namespace tavindex::test
