#ifndef SERVICE_WORKER_TITLE_CHOICE_H_
#define SERVICE_WORKER_TITLE_CHOICE_H_

#include <json/value.h>

#include <optional>
#include <string>

#include "database/database_reader.h"
#include "database/savepoint.h"

// Gives RECORD, of the photo whose row has this KEY, the title that the row is to have. A made title is one
// that comes from the file's name; CARRIED is the one that the photo has itself, "" without.
//
//   the row's title        becomes
//   none, or a made one    CARRIED; without that, the made one
//   any other              what it is: somebody has given it
//
// A side file's title still wins, since the plug-in reads it later. The plug-in keeps the row's title where
// the record's begins as the file's name does, so a made one is cleared before CARRIED takes its place. What
// is cleared, in TRANSACTION, is undone unless CLEARED is kept. False when the database cannot be asked.
[[nodiscard]] bool ChooseTitle(DatabaseReader& database, const std::string& key, const std::string& carried,
                               Json::Value& record, Transaction& transaction,
                               std::optional<Savepoint>& cleared);

#endif  // SERVICE_WORKER_TITLE_CHOICE_H_
