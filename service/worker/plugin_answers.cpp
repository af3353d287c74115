#include "worker/plugin_answers.h"

#include <utility>

#include "worker/reason_text.h"

ItemResult PluginAnswers::ResultOf(int result, std::string trouble) {
  return result >= 0 ? ItemResult::Stored(std::move(trouble))
                     : ItemResult::NotKept(ReasonForPeople(ReasonOf(log_.Take())));
}

ItemResult PluginAnswers::ResultOfRemoval(int result, ItemKind kind, const std::string& path) {
  if (result < 0) return ResultOf(result);
  const auto left = rows_.Has(kind, path);
  if (!left) return DatabaseNotAsked();
  return *left ? ResultOf(-1) : ItemResult::Stored();
}

ItemResult PluginAnswers::DatabaseNotAsked() {
  return ItemResult::NotKept("the database cannot be read: " + rows_.Database().error());
}
