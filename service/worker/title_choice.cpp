#include "worker/title_choice.h"

#include "base/ascii.h"
#include "database/queries_sql.h"

bool ChooseTitle(DatabaseReader& database, const std::string& key, const std::string& carried,
                 Json::Value& record, Transaction& transaction, std::optional<Savepoint>& cleared) {
  Json::Value& title = record["szTitle"];
  const std::string made = title.asString();
  // The plug-in knows it for a made one, and nothing is to take its place.
  if (carried.empty() && record["szName"].asString().starts_with(made)) return true;
  const auto rows = database.Query({"title"}, kPhotoSql, key);
  if (!rows) return false;
  const std::string stored = rows->empty() ? "" : rows->front().front().value_or("");
  if (!stored.empty() && Trimmed(stored) != Trimmed(made)) {
    title = stored;
    return true;
  }
  if (carried.empty()) return true;
  title = carried;
  if (stored.empty()) return true;
  cleared.emplace(database, transaction);
  return cleared->set() && database.Run(database.Escaped(kClearTitleSql, key).c_str());
}
