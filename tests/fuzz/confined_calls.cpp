#include "fuzz/confined_calls.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <string>

#include "common/system_calls.h"

namespace tavindex::test {

namespace {

SystemCalls original;

bool StaysInside(const char* path) {
  if (std::strncmp(path, "./", 2) == 0) path += 2;
  if (std::strchr(path, '/') == nullptr && std::strcmp(path, "..") != 0) return true;
  errno = EACCES;
  return false;
}

int Open(const char* path, int flags, mode_t mode) {
  if (std::strcmp(path, ".") != 0 && !StaysInside(path)) return -1;
  return original.open(path, flags, mode);
}
int Unlink(const char* path) { return StaysInside(path) ? original.unlink(path) : -1; }
int Link(const char* from, const char* to) {
  return StaysInside(from) && StaysInside(to) ? original.link(from, to) : -1;
}
int Chmod(const char* path, mode_t mode) {
  return StaysInside(path) ? original.chmod(path, mode) : -1;
}
int MakeUnique(char* pattern) { return StaysInside(pattern) ? original.mkstemp(pattern) : -1; }
int Sync(int) { return 0; }

// -m may ask for 4 GiB, which the sanitizers would hold against the program.
constexpr std::size_t kMostMemory = 64 * 1024 * 1024;
void* Allocate(std::size_t size) { return size <= kMostMemory ? original.allocate(size) : nullptr; }
void* AllocateZeroed(std::size_t count, std::size_t size) {
  return count <= kMostMemory / size ? original.allocateZeroed(count, size) : nullptr;
}

std::string ScratchRoot() {
  if (const char* named = std::getenv("TMPDIR")) return named;
  return std::filesystem::is_directory("/dev/shm") ? "/dev/shm" : "/tmp";
}

std::string scratch;
void RemoveScratch() { std::filesystem::remove_all(scratch); }

}  // namespace

void ConfineToScratch() {
  if (!scratch.empty()) return;
  scratch = ScratchRoot() + "/tavindex_fuzz_XXXXXX";
  if (::mkdtemp(scratch.data()) == nullptr || ::chdir(scratch.c_str()) != 0) std::abort();
  std::atexit(RemoveScratch);
  original = systemCalls;
  systemCalls.open = Open;
  systemCalls.unlink = Unlink;
  systemCalls.link = Link;
  systemCalls.chmod = Chmod;
  systemCalls.mkstemp = MakeUnique;
  systemCalls.fsync = Sync;
  systemCalls.allocate = Allocate;
  systemCalls.allocateZeroed = AllocateZeroed;
}

}  // namespace tavindex::test
