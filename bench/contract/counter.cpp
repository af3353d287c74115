// Put in front of the system's libraries by LD_PRELOAD: counts what a worker allocates and asks SQLite, and
// writes it at the worker's end to the file that the environment names. The clock that ends transactions
// stands still, so that a slow machine commits no more often than a fast one.
#include <dlfcn.h>
#include <fcntl.h>
#include <sqlite3.h>
#include <time.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <string_view>

namespace {

std::atomic<long> allocations;
std::atomic<long> allocations_in_transactions;  // and so while others wait to write
std::atomic<bool> in_transaction;
std::atomic<long> prepares;
std::atomic<long> statements;

bool IsWorker() {
  static const bool is_worker = [] {
    std::array<char, 4096> program{};
    const ssize_t length = readlink("/proc/self/exe", program.data(), program.size());
    return length > 0 &&
           std::string_view(program.data(), static_cast<std::size_t>(length)).ends_with("lumivault-worker");
  }();
  return is_worker;
}

void CountAllocation() {
  ++allocations;
  if (in_transaction) ++allocations_in_transactions;
}

// STATEMENT begins or ends one.
void NoteTransaction(sqlite3_stmt* statement) {
  const char* text = sqlite3_sql(statement);
  const std::string_view sql = text != nullptr ? text : "";
  if (sql.starts_with("BEGIN")) in_transaction = true;
  const bool keeps_on = sql.starts_with("ROLLBACK TO");
  if (sql.starts_with("COMMIT") || (sql.starts_with("ROLLBACK") && !keeps_on)) in_transaction = false;
}

// The function NAME that this library stands in front of.
template <typename Function>
Function* Next(const char* name) {
  return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

struct AtTheEnd {
  ~AtTheEnd() {
    const char* name = getenv("LUMIVAULT_CONTRACT_COUNTS");
    const int file =
        name != nullptr && IsWorker() ? open(name, O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600) : -1;
    if (file < 0) return;
    dprintf(file, "%ld %ld %ld %ld\n", allocations.load(), allocations_in_transactions.load(),
            prepares.load(), statements.load());
    close(file);
  }
} at_the_end;

}  // namespace

#pragma GCC visibility push(default)
extern "C" {

// What the worker's own allocation stands on (service/worker/worker_allocation.cpp).
void* __libc_malloc(std::size_t size) {
  static auto* const next = Next<void*(std::size_t)>("__libc_malloc");
  CountAllocation();
  return next(size);
}

void* __libc_realloc(void* block, std::size_t size) {
  static auto* const next = Next<void*(void*, std::size_t)>("__libc_realloc");
  CountAllocation();
  return next(block, size);
}

int sqlite3_prepare(sqlite3* database, const char* sql, int size, sqlite3_stmt** statement,
                    const char** tail) {
  static auto* const next = Next<decltype(sqlite3_prepare)>("sqlite3_prepare");
  ++prepares;
  return next(database, sql, size, statement, tail);
}

int sqlite3_step(sqlite3_stmt* statement) {
  static auto* const next = Next<decltype(sqlite3_step)>("sqlite3_step");
  if (sqlite3_stmt_busy(statement) == 0) ++statements;
  const int result = next(statement);
  NoteTransaction(statement);
  return result;
}

int clock_gettime(clockid_t clock, timespec* time) noexcept {
  static auto* const next = Next<int(clockid_t, timespec*)>("clock_gettime");
  constexpr time_t kStandsAt = time_t{1} << 30;  // in front of every clock that runs
  const int result = next(clock, time);
  if (clock == CLOCK_MONOTONIC && IsWorker()) *time = {kStandsAt, 0};
  return result;
}

}  // extern "C"
#pragma GCC visibility pop
