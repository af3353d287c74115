#include "db/sqlite_temporary.h"

#include <sys/mman.h>

#include <cstddef>

namespace {

// Where a number may stand behind the first SIZE bytes.
std::size_t AlignedBehind(int size) {
  constexpr std::size_t kStep = sizeof(std::int64_t);
  return (static_cast<std::size_t>(size) + kStep - 1) / kStep * kStep;
}

}  // namespace

SqliteTemporary::SqliteTemporary(int system_size, SqliteRefusal& refusal)
    : system_size_(system_size), refusal_(refusal) {}

int SqliteTemporary::bytes_of_file() const {
  return static_cast<int>(AlignedBehind(system_size_) + sizeof(std::int64_t));
}

FileDescriptor SqliteTemporary::Make() {
  return FileDescriptor(memfd_create("lumivault-temporary", MFD_CLOEXEC));
}

std::int64_t& SqliteTemporary::SizeOf(sqlite3_file* file) const {
  return *reinterpret_cast<std::int64_t*>(reinterpret_cast<char*>(file) + AlignedBehind(system_size_));
}

void SqliteTemporary::TakeOver(sqlite3_file& file) {
  calls_.Give(file, *this);
  calls_.methods.xWrite = &Write;
  calls_.methods.xTruncate = &Truncate;
  calls_.methods.xClose = &Close;
  calls_.methods.xFileControl = &NoControl;
}

int SqliteTemporary::Write(sqlite3_file* file, const void* data, int amount, sqlite3_int64 offset) {
  const Calls& calls = Calls::Of(file);
  SqliteTemporary& self = *calls.owner;
  std::int64_t& size = self.SizeOf(file);
  const std::int64_t grown = offset + amount - size;
  if (grown > 0) {
    if (self.taken_ + grown > kMost) {
      self.refusal_.Note(SqliteRefusal::Why::kTooMuch, nullptr, kMost);
      return SQLITE_FULL;
    }
    self.taken_ += grown;
    size += grown;
  }
  return calls.system->xWrite(file, data, amount, offset);
}

int SqliteTemporary::Truncate(sqlite3_file* file, sqlite3_int64 size) {
  const Calls& calls = Calls::Of(file);
  SqliteTemporary& self = *calls.owner;
  std::int64_t& before = self.SizeOf(file);
  if (size < before) {
    self.taken_ -= before - size;
    before = size;
  }
  return calls.system->xTruncate(file, size);
}

int SqliteTemporary::Close(sqlite3_file* file) {
  const Calls& calls = Calls::Of(file);
  SqliteTemporary& self = *calls.owner;
  self.taken_ -= self.SizeOf(file);
  return calls.system->xClose(file);
}

// Among them is one that makes the file larger.
int SqliteTemporary::NoControl(sqlite3_file* /*file*/, int /*code*/, void* /*argument*/) {
  return SQLITE_NOTFOUND;
}
