#include "changes/catalogue_store.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <thread>

#include "base/file_descriptor.h"
#include "changes/catalogue_sql.h"
#include "common/display.h"
#include "common/error_text.h"
#include "files/file_system_id.h"

namespace {

constexpr mode_t kPrivateFile = 0600;

Outcome<DatabaseReader> TryOpen(const std::string& file) {
  const FileDescriptor made(open(file.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, kPrivateFile));
  if (!made) return Failure{ExitStatus::kConfiguration, ErrorText(errno)};
  DatabaseReader database(file);
  if (!database || !database.Run(kMakeCatalogue) || !database.Query({"count"}, kCountFiles) ||
      !database.Query({"value"}, kFact, std::string(kFileSystemsFact))) {
    return Failure{ExitStatus::kConfiguration, database.error()};
  }
  return database;
}

// No catalogue, whatever it was: what is said of a disk, of memory or of a lock is said of those alone.
bool IsNone(const Failure& failure) {
  constexpr std::array kTexts{"file is not a database", "malformed", "no such table", "no such column",
                              "Its schema is not ours"};
  return std::any_of(kTexts.begin(), kTexts.end(),
                     [&](const char* text) { return failure.message.find(text) != std::string::npos; });
}

}  // namespace

Outcome<std::unique_ptr<CatalogueStore>> CatalogueStore::Open(const std::string& file) {
  auto database = TryOpen(file);
  if (!database && IsNone(database.failure())) {
    for (const char* suffix : {"", "-wal", "-shm", "-journal"}) unlink((file + suffix).c_str());
    database = TryOpen(file);
  }
  if (database) return std::unique_ptr<CatalogueStore>(new CatalogueStore(file, std::move(*database)));
  return Failure{ExitStatus::kConfiguration,
                 AboutFile(file, "the catalogue cannot be opened: " + database.failure().message)};
}

void CatalogueStore::BeginChanges() {
  if (!changing_) Select({}, kBeginCatalogue);
  changing_ = true;
}

void CatalogueStore::NoteFailure() {
  if (!failure_) failure_ = Failure{ExitStatus::kConfiguration, AboutFile(file_, database_.error())};
}

void CatalogueStore::Commit() {
  if (changing_) Select({}, kCommitCatalogue);
  changing_ = false;
}

void CatalogueStore::MakeDurable() {
  Commit();  // inside a transaction it could not be switched
  Select({}, kDurableCatalogue);
}

bool CatalogueStore::EndLog() {
  constexpr int kTries = 100;
  constexpr std::chrono::milliseconds kPause{100};
  Commit();
  for (int i = 0; i < kTries && !failure_; ++i) {
    if (database_.Run(kEndCatalogueLog)) return true;
    std::this_thread::sleep_for(kPause);
  }
  NoteFailure();
  return false;
}
