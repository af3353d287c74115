#ifndef SERVICE_WORKER_TITLE_CHOICE_H_
#define SERVICE_WORKER_TITLE_CHOICE_H_

#include <json/value.h>

#include <optional>
#include <string>

#include "database/database_reader.h"
#include "database/savepoint.h"

// Gives RECORD, of the photo whose row has this KEY, the title that the row is to have. CARRIED is the one
// that the photo has itself, "" without. That one takes the place of a title that is made from the file's
// name, and of no other. A side file's still wins: the plug-in reads it later. It keeps the row's title where
// the record's begins as the name does, so that a made one is cleared first, and replaces it otherwise, so
// that a given one is handed over. What is cleared, in TRANSACTION, is undone unless CLEARED is kept. False
// when the database cannot be asked.
[[nodiscard]] bool ChooseTitle(DatabaseReader& database, const std::string& key, const std::string& carried,
                               Json::Value& record, Transaction& transaction,
                               std::optional<Savepoint>& cleared);

#endif  // SERVICE_WORKER_TITLE_CHOICE_H_
